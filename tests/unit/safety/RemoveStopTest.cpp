// Operations removed, or the engine stopped, while multipart parts and blob downloads are in
// flight. One task thread and one job thread make it certain that the late results of a
// removed operation reach the thread that serves the next one. Nothing may crash or leak, the
// buffers go back, no stopped operation reports success, and the next operation gets only its
// own results. On Swift's S3 layer; run under the sanitizer build too.

#include "S3ServerSupport.h"

#include "engine/IOperation.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "streams/MemoryManager.h"

#include "TestSupport.h"

#include <NorvikNetwork/Bandwidth.h>

#include <QBuffer>
#include <QCoreApplication>

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace {

using Norvik::Cloud::IOperation;
using Norvik::Cloud::MemoryManager;
using Norvik::Cloud::OperationManager;
using Norvik::Network::Utility::Bandwidth;
namespace OperationConfig = Norvik::Cloud::OperationConfig;

constexpr int MiB = 1024 * 1024;

class RemoveStop : public NorvikTest::S3BucketTest
{
protected:
    static void SetUpTestSuite()
    {
        OperationManager::setThreadCount(1);
        OperationManager::instance();
    }

    void SetUp() override
    {
        NorvikTest::S3BucketTest::SetUp();
        if (HasFatalFailure())
            return;
        config = NorvikTest::configFor(server, GetParam());
        config.insert(OperationConfig::ContainerName, bucket);
        config.insert(OperationConfig::ChunkSize, 20 * MiB);
        blob = NorvikTest::randomBytes(24 * MiB, 7);
        s3->upload(bucket, QStringLiteral("/blob"), {}, blob, QUuid());
    }

    QSharedPointer<IOperation> upload(QBuffer& source, const QByteArray& data, const QString& key)
    {
        source.setData(data);
        source.open(QIODevice::ReadOnly);
        return OperationManager::instance().uploadMultipart(config, key, {}, &source, QByteArray());
    }

    QSharedPointer<IOperation> download()
    {
        return OperationManager::instance().downloadBlob(config, QStringLiteral("/blob"), 0, blob.size() - 1);
    }

    // Transfers slow enough that a removed operation's job is still out when the next
    // operation has been adopted.
    static void throttle(qint64 bytesPerSecond)
    {
        Bandwidth::instance().setLimit(Bandwidth::Upload, bytesPerSecond);
        Bandwidth::instance().setLimit(Bandwidth::Download, bytesPerSecond);
    }

    // Started, with a buffer taken: a part or a download is out.
    static bool startInFlight(const QSharedPointer<IOperation>& operation)
    {
        const auto before = MemoryManager::instance().used();
        operation->exec();
        return NorvikTest::waitFor([&] { return MemoryManager::instance().used() > before; }, 30000);
    }

    // Operations that went on other threads are deleted on this one, by its event loop.
    static bool buffersBack()
    {
        return NorvikTest::waitFor(
            [] {
                QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
                return MemoryManager::instance().used() == 0;
            },
            30000);
    }

    QMap<QString, QVariant> config;
    QByteArray blob;
};

TEST_P(RemoveStop, RemovedOperationsFreeTheirBuffersAndTheNextGetsOnlyItsOwnResults)
{
    throttle(30 * MiB);
    for (const bool removeUpload : {true, false}) {
        SCOPED_TRACE(removeUpload ? "upload removed" : "download removed");
        QBuffer removedSource;
        QSharedPointer<IOperation> removed =
            removeUpload
                ? upload(removedSource, NorvikTest::randomBytes(60 * MiB, 3), QStringLiteral("/gone"))
                : download();
        ASSERT_TRUE(startInFlight(removed));
        removed->remove();
        removed.reset();

        // Adopted by the one task thread while the removed operation's job is still out.
        const QByteArray data = NorvikTest::randomBytes(25 * MiB, 5);
        QBuffer source;
        const QSharedPointer<IOperation> next = upload(source, data, QStringLiteral("/next"));
        next->exec();
        ASSERT_TRUE(NorvikTest::waitFor([&] { return next->isComplite(); }, 120000));
        EXPECT_EQ(next->state(), IOperation::StateComplete) << next->errorMessage().toStdString();
        EXPECT_EQ(NorvikTest::downloadAll(*s3, bucket, QStringLiteral("/next")), data);
        next->remove();
        EXPECT_TRUE(buffersBack());
    }
    throttle(0);
}

// Last: the engine cannot be started again.
TEST_P(RemoveStop, StopInMidFlightReportsNoSuccessAndFreesTheBuffers)
{
    QBuffer source;
    QSharedPointer<IOperation> uploading = upload(source, NorvikTest::randomBytes(60 * MiB, 9), "/stopped");
    QSharedPointer<IOperation> downloading = download();
    throttle(30 * MiB);
    ASSERT_TRUE(startInFlight(uploading));
    downloading->exec();

    // exec() from another thread while the engine stops.
    std::atomic<bool> stopped{false};
    const QSharedPointer<IOperation> late = download();
    std::thread client([&] {
        while (!stopped.load())
            late->exec();
    });
    OperationManager::instance().stop();
    stopped.store(true);
    client.join();

    NorvikTest::waitFor([] { return false; }, 500);
    for (const auto& operation : {uploading, downloading, late}) {
        EXPECT_NE(operation->state(), IOperation::StateComplete);
        operation->remove();
    }
    uploading.reset();
    downloading.reset();
    EXPECT_TRUE(buffersBack());
}

INSTANTIATE_TEST_SUITE_P(Swift, RemoveStop, testing::Values(QStringLiteral("V4")));

} // namespace
