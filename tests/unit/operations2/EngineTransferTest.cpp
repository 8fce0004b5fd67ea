#include "TestSource.h"

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

// Warning lines logged while it lives.
class WarningLog
{
public:
    WarningLog()
    {
        NorvikDebug::setSink([this](NorvikDebug::Level level, const QString&, const QString& message) {
            if (level < NorvikDebug::Level::Warning)
                return;
            QMutexLocker lock(&m_mutex);
            m_lines.append(message);
        });
    }
    ~WarningLog() { NorvikDebug::setSink({}); }

    bool contains(const QString& text) const
    {
        QMutexLocker lock(&m_mutex);
        return std::any_of(m_lines.cbegin(), m_lines.cend(),
                           [&](const QString& line) { return line.contains(text); });
    }

private:
    mutable QMutex m_mutex;
    QStringList m_lines;
};

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

TEST_F(EngineTransfers, StartingFunctionsRefuseBadInput)
{
    OperationManager& manager = OperationManager::instance();
    WarningLog log;
    QBuffer readable;
    readable.open(QIODevice::ReadOnly);
    QBuffer writable;
    writable.open(QIODevice::WriteOnly);
    const QMap<QString, QVariant> none;
    const QString path = QStringLiteral("/x.bin");

    EXPECT_FALSE(manager.uploadMultipart(none, path, {}, &readable, {}));
    EXPECT_FALSE(manager.uploadMultipart(m_config, QString(), {}, &readable, {}));
    EXPECT_FALSE(manager.uploadMultipart(m_config, path, {}, nullptr, {}));
    EXPECT_FALSE(manager.uploadMultipart(m_config, path, {}, &writable, {}));
    EXPECT_TRUE(log.contains(QStringLiteral("OperationManager : uploadMultipart input params is not valid")));

    EXPECT_FALSE(manager.download2Stream(none, path, &writable));
    EXPECT_FALSE(manager.download2Stream(m_config, QString(), &writable));
    EXPECT_FALSE(manager.download2Stream(m_config, path, nullptr));
    EXPECT_FALSE(manager.download2Stream(m_config, path, &readable));
    EXPECT_TRUE(log.contains(QStringLiteral("OperationManager : download2Stream input params is not valid")));

    EXPECT_FALSE(manager.downloadBlob(none, path, 0, 9));
    EXPECT_FALSE(manager.downloadBlob(m_config, QString(), 0, 9));
    EXPECT_TRUE(log.contains(QStringLiteral("OperationManager : downloadBlob input params is not valid")));

    EXPECT_FALSE(manager.downloadBlob2Stream(none, path, 0, 9, &writable));
    EXPECT_FALSE(manager.downloadBlob2Stream(m_config, QString(), 0, 9, &writable));
    EXPECT_FALSE(manager.downloadBlob2Stream(m_config, path, 0, 9, nullptr));
    EXPECT_FALSE(manager.downloadBlob2Stream(m_config, path, 0, 9, &readable));
    EXPECT_TRUE(
        log.contains(QStringLiteral("OperationManager : downloadBlob2Stream input params is not valid")));

    // Good input: registered, unstarted, of the right type.
    const QList<QSharedPointer<IOperation>> made = {
        manager.uploadMultipart(m_config, path, {}, &readable, QByteArray("some-id")),
        manager.download2Stream(m_config, path, &writable),
        manager.downloadBlob(m_config, path, 0, 9),
        manager.downloadBlob2Stream(m_config, path, 0, 9, &writable),
    };
    const QStringList types = {OperationType::UploadMultipart, OperationType::Download2Stream,
                               OperationType::DownloadBlob, OperationType::DownloadBlob2Stream};
    for (int i = 0; i < made.size(); ++i) {
        ASSERT_TRUE(made.at(i));
        EXPECT_EQ(made.at(i)->type(), types.at(i));
        EXPECT_EQ(made.at(i)->state(), IOperation::StateCreated);
        EXPECT_EQ(manager.getOperation(made.at(i)->id()), made.at(i));
        made.at(i)->remove();
    }
    // The upload id given to start with is what the upload continues.
    EXPECT_EQ(as<UploadMultipart>(made.first())->multipartUploadInfo(), QByteArray("some-id"));
}

TEST_F(EngineTransfers, UploadThenDownloadWholeAndInRanges)
{
    OperationManager& manager = OperationManager::instance();
    const QByteArray source = NorvikTest::randomBytes(5 * MiB + MiB / 2, 31);
    QBuffer device;
    device.setData(source);
    device.open(QIODevice::ReadOnly);
    const auto upload = as<UploadMultipart>(
        manager.uploadMultipart(m_config, QStringLiteral("/up/object.bin"), {}, &device, QByteArray()));
    ASSERT_TRUE(upload);
    QStringList events;
    QThread* announcedOn = nullptr;
    QObject::connect(upload.data(), &UploadMultipart::updateUploadInfo, [&](const QByteArray& id) {
        events.append(QStringLiteral("id ") + QString::fromUtf8(id));
        announcedOn = QThread::currentThread();
    });
    QObject::connect(upload.data(), &IOperation::finished,
                     [&] { events.append(QStringLiteral("finished")); });
    ASSERT_TRUE(finish({upload}));

    EXPECT_EQ(upload->state(), IOperation::StateComplete) << upload->errorMessage().toStdString();
    EXPECT_EQ(stored(QStringLiteral("/up/object.bin")), source);
    EXPECT_EQ(upload->size(), static_cast<unsigned long long>(source.size()));
    // The id reaches the client on its own thread, before the end.
    EXPECT_EQ(events, QStringList({QStringLiteral("id ") + QString::fromUtf8(upload->multipartUploadInfo()),
                                   QStringLiteral("finished")}));
    EXPECT_EQ(announcedOn, QThread::currentThread());
    upload->remove();

    QBuffer whole;
    whole.open(QIODevice::WriteOnly);
    const auto download = manager.download2Stream(m_config, QStringLiteral("/up/object.bin"), &whole);
    const qint64 size = source.size();
    const QList<QPair<quint64, quint64>> ranges = {
        {0, 9}, {quint64(size) - 10, 9}, {quint64(size) - 5, 9}, {quint64(size), 0}, {MiB - 1, MiB}};
    QList<QSharedPointer<IOperation>> blobs;
    QList<QSharedPointer<QBuffer>> outs;
    QList<QSharedPointer<IOperation>> blobStreams;
    for (const auto& range : ranges) {
        blobs.append(
            manager.downloadBlob(m_config, QStringLiteral("/up/object.bin"), range.first, range.second));
        outs.append(QSharedPointer<QBuffer>::create());
        outs.last()->open(QIODevice::WriteOnly);
        blobStreams.append(manager.downloadBlob2Stream(m_config, QStringLiteral("/up/object.bin"),
                                                       range.first, range.second, outs.last().data()));
    }
    ASSERT_TRUE(finish(QList<QSharedPointer<IOperation>>{download} + blobs + blobStreams));

    EXPECT_EQ(download->state(), IOperation::StateComplete);
    EXPECT_EQ(whole.data(), source);
    for (int i = 0; i < ranges.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "range " << ranges.at(i).first << " " << ranges.at(i).second);
        const QByteArray expected = source.mid(int(ranges.at(i).first), int(ranges.at(i).second) + 1);
        EXPECT_EQ(blobs.at(i)->state(), IOperation::StateComplete);
        EXPECT_EQ(as<DownloadBlob>(blobs.at(i))->data(), expected);
        EXPECT_EQ(blobStreams.at(i)->state(), IOperation::StateComplete);
        EXPECT_EQ(outs.at(i)->data(), expected);
        blobs.at(i)->remove();
        blobStreams.at(i)->remove();
    }
    download->remove();
}

TEST_F(EngineTransfers, InterruptedUploadIsContinuedLaterByItsId)
{
    OperationManager& manager = OperationManager::instance();
    const QByteArray source = NorvikTest::randomBytes(6 * MiB + 1234, 32);
    const QString path = QStringLiteral("/resumed/object.bin");

    TestSource broken(source);
    broken.breakAt(2 * MiB + MiB / 2, TestSource::Breakage::Modified);
    const auto first =
        as<UploadMultipart>(manager.uploadMultipart(m_config, path, {}, &broken, QByteArray()));
    QByteArray uploadId;
    QObject::connect(first.data(), &UploadMultipart::updateUploadInfo,
                     [&](const QByteArray& id) { uploadId = id; });
    ASSERT_TRUE(finish({first}));
    EXPECT_EQ(first->state(), IOperation::StateError);
    EXPECT_EQ(first->errorCode(), 29);
    EXPECT_FALSE(first->cloudError().isEmpty());
    ASSERT_FALSE(uploadId.isEmpty());
    // Two whole parts reached the storage before the source changed.
    EXPECT_EQ(stored(path), source.left(2 * MiB));
    first->remove();

    // Later, from the start of the source again.
    TestSource again(source);
    const auto second = as<UploadMultipart>(manager.uploadMultipart(m_config, path, {}, &again, uploadId));
    QList<QByteArray> announced;
    QObject::connect(second.data(), &UploadMultipart::updateUploadInfo,
                     [&](const QByteArray& id) { announced.append(id); });
    ASSERT_TRUE(finish({second}));
    EXPECT_EQ(second->state(), IOperation::StateComplete) << second->errorMessage().toStdString();
    EXPECT_EQ(stored(path), source);
    // A folder storage keeps no parts to continue from: the upload began again under a new id.
    ASSERT_EQ(announced.size(), 1);
    EXPECT_NE(announced.first(), uploadId);
    second->remove();
}

TEST_F(EngineTransfers, MemoryBudgetHoldsWhileUploadsAndDownloadsRunTogether)
{
    OperationManager& manager = OperationManager::instance();
    const unsigned long long limit = MemoryManager::instance().limit();
    QMap<QString, QVariant> config = m_config;
    config.insert(OperationConfig::ChunkSize, 8 * MiB);

    const QByteArray object = NorvikTest::randomBytes(24 * MiB, 33);
    writeObject(QStringLiteral("/object.bin"), object);
    QList<QSharedPointer<QFile>> sources;
    for (int i = 0; i < 3; ++i) {
        const QString name = m_root + QStringLiteral("/../source-%1.bin").arg(i);
        QFile::remove(name);
        ASSERT_TRUE(QFile::copy(m_root + QStringLiteral("/object.bin"), name));
        sources.append(QSharedPointer<QFile>::create(name));
        ASSERT_TRUE(sources.last()->open(QIODevice::ReadOnly));
    }
    TestSource breaking(object);
    breaking.breakAt(12 * MiB + 5, TestSource::Breakage::Deleted);

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
