// remove() and stop() while multipart parts and blob downloads are in flight, on Swift's S3
// layer with slowed transfers and one task thread, so that late results reach the thread that
// serves the next operation. No crash or leak (sanitizer build), buffers back, no success.

#include "S3ServerSupport.h"

#include "engine/IOperation.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "streams/MemoryManager.h"

#include "TestSupport.h"

#include <NorvikNetwork/Bandwidth.h>

#include <QBuffer>
#include <QCoreApplication>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using namespace Norvik::Cloud;
using Norvik::Network::Utility::Bandwidth;
constexpr int MiB = 1024 * 1024;

class RemoveStop : public NorvikTest::S3BucketTest
{
protected:
    static void SetUpTestSuite() { OperationManager::setThreadCount(1); }

    void SetUp() override
    {
        NorvikTest::S3BucketTest::SetUp();
        ASSERT_FALSE(HasFatalFailure());
        config = NorvikTest::configFor(server, GetParam());
        config.insert(OperationConfig::ContainerName, bucket);
        config.insert(OperationConfig::ChunkSize, 20 * MiB);
        s3->upload(bucket, "/blob", {}, NorvikTest::randomBytes(24 * MiB, 7), QUuid());
        for (const auto direction : {Bandwidth::Upload, Bandwidth::Download})
            Bandwidth::instance().setLimit(direction, 30 * MiB);
    }

    QSharedPointer<IOperation> upload(QBuffer& source, const QByteArray& data, const QString& key)
    {
        source.setData(data);
        source.open(QIODevice::ReadOnly);
        return OperationManager::instance().uploadMultipart(config, key, {}, &source, {});
    }

    QSharedPointer<IOperation> download() const
    {
        return OperationManager::instance().downloadBlob(config, "/blob", 0, 24 * MiB - 1);
    }

    // Started, with a buffer taken: a part or a download is out.
    static bool startInFlight(const QSharedPointer<IOperation>& operation)
    {
        operation->exec();
        return NorvikTest::waitFor([] { return MemoryManager::instance().used() > 0; }, 30000);
    }

    // Operations let go of on a task thread are deleted by this thread's event loop.
    static bool buffersBack()
    {
        return NorvikTest::waitFor([] {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return MemoryManager::instance().used() == 0;
        });
    }

    QMap<QString, QVariant> config;
};

TEST_P(RemoveStop, RemovedOperationsFreeTheirBuffersAndTheNextGetsOnlyItsOwnResults)
{
    for (const bool removeUpload : {true, false}) {
        SCOPED_TRACE(removeUpload);
        QBuffer removedSource, source;
        auto removed =
            removeUpload ? upload(removedSource, NorvikTest::randomBytes(60 * MiB), "/gone") : download();
        ASSERT_TRUE(startInFlight(removed));
        removed->remove();
        removed.reset();

        const QByteArray data = NorvikTest::randomBytes(25 * MiB, 5);
        const auto next = upload(source, data, "/next");
        next->exec();
        ASSERT_TRUE(NorvikTest::waitFor([&] { return next->isComplite(); }, 120000));
        EXPECT_EQ(next->state(), IOperation::StateComplete) << next->errorMessage().toStdString();
        EXPECT_EQ(NorvikTest::downloadAll(*s3, bucket, "/next"), data);
        next->remove();
        EXPECT_TRUE(buffersBack());
    }
}

// Last: the engine cannot be started again.
TEST_P(RemoveStop, StopInMidFlightReportsNoSuccessAndFreesTheBuffers)
{
    QBuffer source;
    QList<QSharedPointer<IOperation>> operations{upload(source, NorvikTest::randomBytes(60 * MiB), "/s"),
                                                 download(), download()};
    ASSERT_TRUE(startInFlight(operations[0]));
    operations[1]->exec();
    std::atomic<bool> stopped{false};
    std::thread client([&] { // exec() on another thread while the engine stops
        while (!stopped)
            operations[2]->exec();
    });
    OperationManager::instance().stop();
    stopped = true;
    client.join();
    NorvikTest::waitFor([] { return false; }, 500);
    for (const auto& operation : operations) {
        EXPECT_NE(operation->state(), IOperation::StateComplete);
        operation->remove();
    }
    operations.clear();
    EXPECT_TRUE(buffersBack());
}

INSTANTIATE_TEST_SUITE_P(Swift, RemoveStop, testing::Values(QStringLiteral("V4")));

} // namespace
