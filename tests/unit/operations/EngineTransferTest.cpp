#include "ScriptedSource.h"
#include "TestSupport.h"

#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "operations/DownloadBlob.h"
#include "streams/MemoryManager.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QUuid>

#include <atomic>
#include <thread>

using namespace Norvik::Cloud;
using NorvikTest::ScriptedSource;

namespace {

constexpr qint64 MiB = 1024 * 1024;

// Uploads and downloads through the running engine against a folder storage, with the largest
// value MemoryManager::used() takes sampled from a thread of its own.
TEST(EngineTransfers, MemoryBudgetHoldsWhileUploadsAndDownloadsRunTogether)
{
    OperationManager& manager = OperationManager::instance();
    const unsigned long long limit = MemoryManager::instance().limit();
    const QString root = NorvikTest::scratchDir(QStringLiteral("EngineTransfers"));
    const QMap<QString, QVariant> config{{Config::Id, QUuid::createUuid().toString()},
                                         {Config::Type, QStringLiteral("FileSystem")},
                                         {Config::FileSystem::Path, root},
                                         {OperationConfig::ChunkSize, 8 * MiB}};
    const auto stored = [&](const QString& path) {
        QFile file(root + path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    const QByteArray object = ScriptedSource::bytes(0, 24 * MiB);
    {
        QFile file(root + QStringLiteral("/object.bin"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(object) == object.size());
    }

    std::atomic<bool> stop{false};
    std::atomic<unsigned long long> peak{0};
    std::thread sampler([&] {
        while (!stop.load()) {
            const unsigned long long used = MemoryManager::instance().used();
            if (used > peak.load())
                peak.store(used);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });

    QList<QSharedPointer<ScriptedSource>> sources;
    QList<QSharedPointer<IOperation>> uploads, blobs, missing;
    for (int i = 0; i < 3; ++i) {
        sources.append(QSharedPointer<ScriptedSource>::create(24 * MiB));
        uploads.append(manager.uploadMultipart(config, QStringLiteral("/copy-%1.bin").arg(i), {},
                                               sources.last().data(), QByteArray()));
    }
    ScriptedSource breaking(24 * MiB);
    breaking.breakAt(12 * MiB + 5, NorvikTest::throwDeleted());
    const auto failingUpload =
        manager.uploadMultipart(config, QStringLiteral("/broken.bin"), {}, &breaking, {});
    for (int i = 0; i < 6; ++i)
        blobs.append(
            manager.downloadBlob(config, QStringLiteral("/object.bin"), quint64(i) * MiB, 20 * MiB - 1));
    for (int i = 0; i < 2; ++i)
        missing.append(manager.downloadBlob(config, QStringLiteral("/missing.bin"), 0, 20 * MiB - 1));
    const auto all = uploads + blobs + missing + QList<QSharedPointer<IOperation>>{failingUpload};
    for (const auto& operation : all)
        operation->exec();
    const bool finished = NorvikTest::waitFor(
        [&] { return std::all_of(all.cbegin(), all.cend(), [](const auto& o) { return o->isComplite(); }); },
        180000);
    stop.store(true);
    sampler.join();
    ASSERT_TRUE(finished);

    EXPECT_LE(peak.load(), limit);
    // The load really pressed on the budget: six blobs alone ask for more than it holds.
    EXPECT_GT(peak.load(), limit / 2);
    for (int i = 0; i < uploads.size(); ++i) {
        EXPECT_EQ(uploads.at(i)->state(), IOperation::StateComplete)
            << uploads.at(i)->errorMessage().toStdString();
        EXPECT_EQ(stored(QStringLiteral("/copy-%1.bin").arg(i)), object);
    }
    EXPECT_EQ(failingUpload->errorCode(), 29);
    for (int i = 0; i < blobs.size(); ++i)
        EXPECT_TRUE(qSharedPointerCast<Operation::DownloadBlob>(blobs.at(i))->data() ==
                    object.mid(i * int(MiB), int(20 * MiB)));
    for (const auto& operation : missing)
        EXPECT_EQ(operation->errorCode(), 13);
    // Failed or not, every operation gave its buffers back.
    EXPECT_EQ(MemoryManager::instance().used(), 0u);
    for (const auto& operation : all)
        operation->remove();
}

} // namespace
