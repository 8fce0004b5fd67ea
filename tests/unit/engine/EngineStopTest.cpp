#include "EngineTestOperations.h"
#include "LogCapture.h"

#include "engine/OperationManager.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <thread>

#include "TestSupport.h"

using namespace Norvik::Cloud;
using NorvikTest::LogCapture;
using NorvikTest::ProbeOperation;

namespace {

// Keeps its task thread inside makeJob() until released, so that the thread reads nothing
// from its sockets meanwhile.
class BlockingOperation : public IOperation
{
public:
    BlockingOperation()
        : IOperation(QStringLiteral("Blocking"), NorvikTest::probeConfig(), nullptr)
    {
    }

    QJsonDocument makeJob() override
    {
        if (!m_entered.exchange(true))
            m_release.acquire();
        return QJsonDocument();
    }
    void resultJob(const QJsonDocument&) override {}

    bool entered() const { return m_entered.load(); }
    void release() { m_release.release(); }

private:
    std::atomic<bool> m_entered{false};
    QSemaphore m_release;
};

} // namespace

// The whole life of an engine of three task and three job threads, up to its stop.
TEST(EngineStop, StopEndsEveryThreadAndTheEngineStaysStopped)
{
    LogCapture log;
    OperationManager::setThreadCount(3);
    OperationManager& manager = OperationManager::instance();
    OperationManager::setThreadCount(8); // too late: the pool is sized
    EXPECT_EQ(log.count({QStringLiteral("Worker stated:")}), 3);

    // One task thread stuck inside an operation when the stop comes, with far more results
    // queued for it than its subscriber holds: the first stop command cannot reach it.
    QSharedPointer<BlockingOperation> blocking(new BlockingOperation);
    ASSERT_TRUE(manager.registerOperation(blocking));
    blocking->exec();
    ASSERT_TRUE(NorvikTest::waitFor([&] { return blocking->entered(); }));
    const QJsonDocument noise(QJsonObject{{QStringLiteral("noise"), QString(100, QLatin1Char('n'))}});
    for (int i = 0; i < 4000; ++i)
        manager.sendOperationResult(QUuid::createUuid(), noise);

    std::thread releaser([&] {
        QThread::msleep(700);
        blocking->release();
    });
    manager.stop();
    releaser.join();

    // stop() returns after joining every thread.
    EXPECT_EQ(log.count({QStringLiteral("Stop command: task")}), 3);
    EXPECT_EQ(log.count({QStringLiteral("OperationTask"), QStringLiteral("finished:")}), 3);
    EXPECT_EQ(log.count({QStringLiteral("Stop command: worker")}), 3);
    EXPECT_EQ(log.count({QStringLiteral("OperationJob: stopped:")}), 3);
    EXPECT_EQ(log.count({QStringLiteral("exception")}), 0);
    // Operations are not told; they keep their state and their place in the registry.
    QCoreApplication::processEvents();
    EXPECT_EQ(blocking->state(), IOperation::StateRunning);
    EXPECT_EQ(manager.getOperation(blocking->id()), blocking);

    // Nothing runs any more: exec() does not even queue.
    QSharedPointer<ProbeOperation> late(new ProbeOperation(NorvikTest::probeConfig()));
    ASSERT_TRUE(manager.registerOperation(late));
    late->exec();
    QThread::msleep(200);
    QCoreApplication::processEvents();
    EXPECT_EQ(late->state(), IOperation::StateCreated);
    EXPECT_EQ(late->execResultCount(), 0);

    manager.stop(); // a second stop is harmless
    EXPECT_EQ(log.count({QStringLiteral("Stop command:")}), 6);
}
