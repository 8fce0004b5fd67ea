#include "ScriptedSource.h"

#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "operations/Download2Stream.h"
#include "operations/DownloadBlob.h"
#include "operations/DownloadBlob2Stream.h"
#include "operations/UploadMultipart.h"
#include "streams/MemoryManager.h"

#include <NorvikCore/NorvikDebug.h>

#include <gtest/gtest.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMutex>
#include <QMutexLocker>
#include <QThread>
#include <QUuid>

#include "TestSupport.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

using namespace Norvik::Cloud;
using Operation::Download2Stream;
using Operation::DownloadBlob;
using Operation::DownloadBlob2Stream;
using Operation::UploadMultipart;

namespace {

constexpr qint64 MiB = 1024 * 1024;

// The largest value MemoryManager::used() takes while it runs, sampled from its own thread.
class BudgetSampler
{
public:
    BudgetSampler()
        : m_thread([this] {
            while (!m_stop.load()) {
                const unsigned long long used = MemoryManager::instance().used();
                unsigned long long seen = m_max.load();
                while (used > seen && !m_max.compare_exchange_weak(seen, used)) {
                }
                ++m_samples;
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        })
    {
    }
    ~BudgetSampler() { stop(); }

    void stop()
    {
        m_stop.store(true);
        if (m_thread.joinable())
            m_thread.join();
    }
    unsigned long long max() const { return m_max.load(); }
    int samples() const { return m_samples.load(); }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<unsigned long long> m_max{0};
    std::atomic<int> m_samples{0};
    std::thread m_thread;
};

} // namespace

// Uploads and downloads through the running engine against a folder storage: the job threads
// make their connections from the configuration, as for any storage.
class EngineTransfers : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { OperationManager::instance(); }

    void SetUp() override
    {
        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_root = NorvikTest::scratchDir(QStringLiteral("EngineTransfers.%1").arg(test->name()));
        m_config = {{Config::Id, QUuid::createUuid().toString()},
                    {Config::Type, QStringLiteral("FileSystem")},
                    {Config::FileSystem::Path, m_root},
                    {OperationConfig::ChunkSize, MiB}};
        m_baseline = MemoryManager::instance().used();
    }

    void TearDown() override { EXPECT_EQ(MemoryManager::instance().used(), m_baseline); }

    template <typename T>
    static QSharedPointer<T> as(const QSharedPointer<IOperation>& operation)
    {
        return qSharedPointerCast<T>(operation);
    }

    static bool finish(const QList<QSharedPointer<IOperation>>& operations, int timeoutMs = 60000)
    {
        for (const auto& operation : operations)
            operation->exec();
        return NorvikTest::waitFor(
            [&] {
                return std::all_of(operations.cbegin(), operations.cend(),
                                   [](const auto& operation) { return operation->isComplite(); });
            },
            timeoutMs);
    }

    QByteArray stored(const QString& path) const
    {
        QFile file(m_root + path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    void writeObject(const QString& path, const QByteArray& data) const
    {
        QFile file(m_root + path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(data), data.size());
    }

    QString m_root;
    QMap<QString, QVariant> m_config;
    unsigned long long m_baseline = 0;
};

TEST_F(EngineTransfers, MemoryBudgetHoldsWhileUploadsAndDownloadsRunTogether)
{
    OperationManager& manager = OperationManager::instance();
    const unsigned long long limit = MemoryManager::instance().limit();
    QMap<QString, QVariant> config = m_config;
    config.insert(OperationConfig::ChunkSize, 8 * MiB);

    const QByteArray object = NorvikTest::ScriptedSource::bytes(0, 24 * MiB);
    writeObject(QStringLiteral("/object.bin"), object);
    QList<QSharedPointer<NorvikTest::ScriptedSource>> sources;
    for (int i = 0; i < 3; ++i)
        sources.append(QSharedPointer<NorvikTest::ScriptedSource>::create(24 * MiB));
    NorvikTest::ScriptedSource breaking(24 * MiB);
    breaking.breakAt(12 * MiB + 5, NorvikTest::throwDeleted());

    BudgetSampler sampler;
    QList<QSharedPointer<IOperation>> uploads;
    for (int i = 0; i < sources.size(); ++i)
        uploads.append(manager.uploadMultipart(config, QStringLiteral("/copy-%1.bin").arg(i), {},
                                               sources.at(i).data(), QByteArray()));
    const auto failingUpload =
        manager.uploadMultipart(config, QStringLiteral("/broken.bin"), {}, &breaking, {});
    QList<QSharedPointer<IOperation>> blobs;
    for (int i = 0; i < 6; ++i)
        blobs.append(
            manager.downloadBlob(config, QStringLiteral("/object.bin"), quint64(i) * MiB, 20 * MiB - 1));
    QList<QSharedPointer<IOperation>> missing;
    for (int i = 0; i < 2; ++i)
        missing.append(manager.downloadBlob(config, QStringLiteral("/missing.bin"), 0, 20 * MiB - 1));

    ASSERT_TRUE(finish(uploads + blobs + missing + QList<QSharedPointer<IOperation>>{failingUpload}, 180000));
    sampler.stop();

    EXPECT_LE(sampler.max(), limit);
    // The load really pressed on the budget: six blobs alone ask for more than it holds.
    EXPECT_GT(sampler.max(), limit / 2);
    EXPECT_GT(sampler.samples(), 10);
    for (int i = 0; i < uploads.size(); ++i) {
        EXPECT_EQ(uploads.at(i)->state(), IOperation::StateComplete)
            << uploads.at(i)->errorMessage().toStdString();
        EXPECT_EQ(stored(QStringLiteral("/copy-%1.bin").arg(i)), object);
    }
    EXPECT_EQ(failingUpload->state(), IOperation::StateError);
    EXPECT_EQ(failingUpload->errorCode(), 29);
    for (int i = 0; i < blobs.size(); ++i) {
        EXPECT_EQ(blobs.at(i)->state(), IOperation::StateComplete);
        EXPECT_TRUE(as<DownloadBlob>(blobs.at(i))->data() == object.mid(i * int(MiB), int(20 * MiB)));
    }
    for (const auto& operation : missing) {
        EXPECT_EQ(operation->state(), IOperation::StateError);
        EXPECT_EQ(operation->errorCode(), 13);
    }
    // Failed or not, every operation gave its buffers back.
    EXPECT_EQ(MemoryManager::instance().used(), m_baseline);
    for (const auto& operation : uploads + blobs + missing + QList<QSharedPointer<IOperation>>{failingUpload})
        operation->remove();
}
