#include "EngineTestOperations.h"

#include "engine/JobFormat.h"
#include "engine/OperationManager.h"
#include "info/Config.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>

#include "LogCapture.h"
#include "TestSupport.h"

using namespace Norvik::Cloud;
using NorvikTest::HoldingOperation;
using NorvikTest::ProbeOperation;

// One engine for the whole executable, with the default pool of task and job threads. No job
// thread can make a connection from the probe configuration, so every job comes back as its own
// failed result. The process exits without stop(): the engine must then stop by itself.
template <typename T>
static QSharedPointer<T> registered()
{
    QSharedPointer<T> operation(new T(NorvikTest::probeConfig()));
    EXPECT_TRUE(OperationManager::instance().registerOperation(operation));
    return operation;
}

TEST(EngineFlow, JobGoesOutAndItsResultEndsTheOperationOnTheClientsThread)
{
    const QSharedPointer<ProbeOperation> operation = registered<ProbeOperation>();
    QList<int> states;
    QThread* finishedOn = nullptr;
    QObject::connect(operation.data(), &IOperation::started, [&] { states.append(operation->state()); });
    QObject::connect(operation.data(), &IOperation::finished, [&] {
        finishedOn = QThread::currentThread();
        states.append(operation->state());
    });
    operation->exec();
    ASSERT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));

    EXPECT_EQ(states, QList<int>({IOperation::StateRunning, IOperation::StateError}));
    EXPECT_EQ(finishedOn, QCoreApplication::instance()->thread());
    // Deciding ran on one task thread, never on the client's.
    EXPECT_EQ(operation->makeJobThread(), operation->resultThread());
    EXPECT_NE(operation->resultThread(), QThread::currentThread());
    EXPECT_EQ(operation->execResultCount(), 1);
    // The result is the job itself, credentials included, with the task's id and no status.
    const QJsonObject result = operation->lastResult();
    EXPECT_EQ(QUuid(result.value(JobFormat::Id).toString()), operation->id());
    EXPECT_EQ(result.value(Config::AmazonS3Like::SecretKey).toString(), QStringLiteral("s3cr3t"));
    EXPECT_FALSE(QUuid(result.value(JobFormat::TaskId).toString()).isNull());
    EXPECT_FALSE(result.contains(JobFormat::Result::Status::Key));

    // Ended operations stay registered until the client removes them.
    EXPECT_EQ(OperationManager::instance().getOperation(operation->id()), operation);
    operation->remove();
    EXPECT_FALSE(OperationManager::instance().getOperation(operation->id()));
}

TEST(EngineFlow, BusyTaskThreadsLeaveTheNextOperationQueuedUntilOneIsFree)
{
    QList<QSharedPointer<HoldingOperation>> holders;
    for (int i = 0; i < OperationManager::threadCount(); ++i) {
        holders.append(registered<HoldingOperation>());
        holders.last()->exec();
    }
    ASSERT_TRUE(NorvikTest::waitFor([&] {
        return std::all_of(holders.cbegin(), holders.cend(),
                           [](const auto& holder) { return holder->state() == IOperation::StateRunning; });
    }));
    QSet<QThread*> threads;
    for (const auto& holder : holders)
        threads.unite(holder->servingThreads());
    EXPECT_EQ(threads.size(), OperationManager::threadCount());

    const QSharedPointer<ProbeOperation> waiting = registered<ProbeOperation>();
    waiting->exec();
    QThread::msleep(400);
    QCoreApplication::processEvents();
    EXPECT_EQ(waiting->state(), IOperation::StateQueued);

    // Removing one frees its thread, which then takes the waiting operation.
    holders.first()->remove();
    ASSERT_TRUE(NorvikTest::waitFor([&] { return waiting->isComplite(); }, 3000));
    const int afterRemoval = holders.first()->makeJobCount();
    QThread::msleep(300);
    EXPECT_EQ(holders.first()->makeJobCount(), afterRemoval);
    for (const auto& holder : holders)
        holder->remove();
    waiting->remove();
}
