#include "EngineTestOperations.h"
#include "LogCapture.h"

#include "engine/JobFormat.h"
#include "engine/OperationManager.h"
#include "engine/nn.hpp"
#include "info/Config.h"

#include <gtest/gtest.h>

#include <nanomsg/pipeline.h>

#include <QCoreApplication>
#include <QJsonArray>
#include <QThread>

#include "TestSupport.h"

#include <memory>

using namespace Norvik::Cloud;
using NorvikTest::HoldingOperation;
using NorvikTest::LogCapture;
using NorvikTest::ProbeOperation;

// One engine for the whole executable, with the default pool of ten task threads and ten
// job threads. No job thread can make a connection yet, so every job comes back as its own
// failed result. The process exits without stop(): the engine must then stop by itself.
class EngineFlow : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_log = new LogCapture;
        OperationManager::instance();
    }
    static void TearDownTestSuite()
    {
        delete s_log;
        s_log = nullptr;
    }

    template <typename T>
    static QSharedPointer<T> registered()
    {
        QSharedPointer<T> operation(new T(NorvikTest::probeConfig()));
        EXPECT_TRUE(OperationManager::instance().registerOperation(operation));
        return operation;
    }

    // The task thread that serves a holding operation, from the result of its first job.
    static QUuid taskOf(const HoldingOperation& operation)
    {
        EXPECT_TRUE(NorvikTest::waitFor([&] { return operation.resultCount() >= 1; }));
        if (operation.results().isEmpty())
            return QUuid();
        return QUuid(operation.results().first().value(JobFormat::TaskId).toString());
    }

    // A removed operation frees its task thread within one poll period of 100 ms.
    static void removeAndRelease(const QList<QSharedPointer<HoldingOperation>>& operations)
    {
        for (const auto& operation : operations)
            operation->remove();
        QThread::msleep(300);
    }

    static LogCapture* s_log;
};

LogCapture* EngineFlow::s_log = nullptr;

TEST_F(EngineFlow, JobComesBackAsItsOwnFailedResult)
{
    const QSharedPointer<ProbeOperation> operation = registered<ProbeOperation>();
    QList<int> states;
    QThread* finishedOn = nullptr;
    int startedCount = 0;
    int finishedCount = 0;
    QObject::connect(operation.data(), &IOperation::started, [&] {
        ++startedCount;
        states.append(operation->state());
    });
    QObject::connect(operation.data(), &IOperation::finished, [&] {
        ++finishedCount;
        finishedOn = QThread::currentThread();
        states.append(operation->state());
    });

    operation->exec();
    QCoreApplication::processEvents();
    ASSERT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));

    EXPECT_EQ(states, QList<int>({IOperation::StateRunning, IOperation::StateError}));
    EXPECT_EQ(startedCount, 1);
    EXPECT_EQ(finishedCount, 1);
    EXPECT_EQ(finishedOn, QCoreApplication::instance()->thread());
    EXPECT_EQ(operation->errorCode(), 0);
    EXPECT_TRUE(operation->errorMessage().isEmpty());
    EXPECT_TRUE(operation->cloudError().isEmpty());

    // Deciding ran on one task thread, never on the client's.
    EXPECT_NE(operation->makeJobThread(), nullptr);
    EXPECT_EQ(operation->makeJobThread(), operation->resultThread());
    EXPECT_NE(operation->resultThread(), QThread::currentThread());
    EXPECT_EQ(operation->execResultCount(), 1);

    // The result is the job itself: every key of the job, the task's id, no status.
    const QJsonObject result = operation->lastResult();
    EXPECT_EQ(result.value(JobFormat::Type).toString(), QStringLiteral("probe"));
    EXPECT_EQ(QUuid(result.value(JobFormat::Id).toString()), operation->id());
    EXPECT_FALSE(QUuid(result.value(JobFormat::TaskId).toString()).isNull());
    EXPECT_EQ(result.value(Config::AmazonS3Like::SecretKey).toString(), QStringLiteral("s3cr3t"));
    EXPECT_FALSE(result.contains(JobFormat::Result::Status::Key));

    // Ended operations stay registered until the client removes them.
    EXPECT_EQ(OperationManager::instance().getOperation(operation->id()), operation);
    operation->remove();
    EXPECT_FALSE(OperationManager::instance().getOperation(operation->id()));
}

TEST_F(EngineFlow, ManyOperationsAtOnceAllEnd)
{
    QList<QSharedPointer<ProbeOperation>> operations;
    for (int i = 0; i < 60; ++i)
        operations.append(registered<ProbeOperation>());
    for (const auto& operation : operations)
        operation->exec();
    ASSERT_TRUE(NorvikTest::waitFor(
        [&] {
            return std::all_of(operations.cbegin(), operations.cend(),
                               [](const auto& operation) { return operation->isComplite(); });
        },
        30000));
    for (const auto& operation : operations) {
        EXPECT_EQ(operation->state(), IOperation::StateError);
        EXPECT_EQ(operation->execResultCount(), 1);
        // Each got its own result back, not a neighbour's.
        EXPECT_EQ(QUuid(operation->lastResult().value(JobFormat::Id).toString()), operation->id());
        operation->remove();
    }
}

TEST_F(EngineFlow, BusyTaskThreadsLeaveTheNextOperationQueued)
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

    // A running operation is asked for a job at least once per poll period.
    const int before = holders.first()->makeJobCount();
    QThread::msleep(500);
    EXPECT_GE(holders.first()->makeJobCount() - before, 3);

    // Removing one frees its thread, which then takes the waiting operation.
    holders.first()->remove();
    ASSERT_TRUE(NorvikTest::waitFor([&] { return waiting->isComplite(); }, 3000));
    const int afterRemoval = holders.first()->makeJobCount();
    QThread::msleep(300);
    EXPECT_EQ(holders.first()->makeJobCount(), afterRemoval);
    waiting->remove();
    removeAndRelease(holders);
}

TEST_F(EngineFlow, ResultsReachOnlyTheOperationTheyNameOnTheirTask)
{
    const QSharedPointer<HoldingOperation> holder = registered<HoldingOperation>();
    holder->exec();
    const QUuid task = taskOf(*holder);
    ASSERT_FALSE(task.isNull());
    const int before = holder->resultCount();

    // A result naming another operation (a late one of a removed operation) is logged and
    // dropped.
    const QUuid stranger = QUuid::createUuid();
    QJsonObject foreign{{JobFormat::Id, stranger.toString()}, {QStringLiteral("mark"), 1}};
    OperationManager::instance().sendOperationResult(task, QJsonDocument(foreign));
    EXPECT_TRUE(s_log->waitFor({QStringLiteral("Unknown operation handler, id:"), stranger.toString()}));
    EXPECT_EQ(holder->resultCount(), before);

    // A job from any sender reaches a job thread and comes back to the task it names.
    nn::socket jobSender(AF_SP, NN_PUSH);
    jobSender.connect(OperationManager::WORKER_ADDRESS);
    const QJsonObject job{{JobFormat::Id, holder->id().toString()},
                          {JobFormat::TaskId, task.toString()},
                          {JobFormat::Type, QStringLiteral("injected")},
                          {QStringLiteral("mark"), 2}};
    const QByteArray bytes = QJsonDocument(job).toBinaryData();
    ASSERT_EQ(jobSender.send(bytes.constData(), bytes.size(), 0), bytes.size());
    ASSERT_TRUE(NorvikTest::waitFor([&] { return holder->resultCount() == before + 1; }));
    EXPECT_EQ(holder->results().last(), job);

    // A job that is no object is dropped with a warning, and nothing comes back.
    const QByteArray array = QJsonDocument(QJsonArray{1, 2, 3}).toBinaryData();
    const int formatWarnings = s_log->count({QStringLiteral(": unknown operation job format")});
    ASSERT_EQ(jobSender.send(array.constData(), array.size(), 0), array.size());
    EXPECT_TRUE(s_log->waitFor({QStringLiteral(": unknown operation job format")}, formatWarnings + 1));

    // Once removed, its task thread is free; a late result names no operation it serves.
    removeAndRelease({holder});
    const QStringList lateWarning{QStringLiteral("Unknown operation handler, id:"), holder->id().toString()};
    const int lateWarnings = s_log->count(lateWarning);
    OperationManager::instance().sendOperationResult(
        task, QJsonDocument(QJsonObject{{JobFormat::Id, holder->id().toString()}}));
    EXPECT_TRUE(s_log->waitFor(lateWarning, lateWarnings + 1));
    QThread::msleep(100);
    EXPECT_EQ(holder->resultCount(), before + 1);
}

TEST_F(EngineFlow, UnknownIdsAreRefusedQuietly)
{
    OperationManager& manager = OperationManager::instance();
    const QUuid unknown = QUuid::createUuid();
    EXPECT_FALSE(manager.getOperation(unknown));
    EXPECT_FALSE(manager.registerOperation(QSharedPointer<IOperation>()));
    manager.removeOperation(unknown);

    // exec() of an unregistered id queues nothing.
    manager.exec(unknown);
    QThread::msleep(300);
    EXPECT_EQ(s_log->count({QStringLiteral("it's my task:"), unknown.toString()}), 0);

    // An id that reaches the task socket without a registered operation is logged and dropped,
    // and the thread that took it is free again.
    nn::socket taskSender(AF_SP, NN_PUSH);
    taskSender.connect(OperationManager::TASK_ADDRESS);
    const QByteArray id = unknown.toByteArray();
    ASSERT_EQ(taskSender.send(id.constData(), id.size(), 0), id.size());
    EXPECT_TRUE(s_log->waitFor({QStringLiteral("Operation is 0x00, id:"), unknown.toString()}));

    QList<QSharedPointer<HoldingOperation>> holders;
    for (int i = 0; i < OperationManager::threadCount(); ++i) {
        holders.append(registered<HoldingOperation>());
        holders.last()->exec();
    }
    EXPECT_TRUE(NorvikTest::waitFor([&] {
        return std::all_of(holders.cbegin(), holders.cend(),
                           [](const auto& holder) { return holder->state() == IOperation::StateRunning; });
    }));
    removeAndRelease(holders);
}

TEST_F(EngineFlow, SecondExecServesTheOperationTwice)
{
    const QSharedPointer<HoldingOperation> holder = registered<HoldingOperation>();
    int started = 0;
    QObject::connect(holder.data(), &IOperation::started, [&] { ++started; });
    holder->exec();
    holder->exec();
    EXPECT_TRUE(NorvikTest::waitFor([&] { return holder->servingThreads().size() == 2 && started == 2; }));
    removeAndRelease({holder});
}

TEST_F(EngineFlow, SecondInitLeavesTheRunningEngineAlone)
{
    EXPECT_FALSE(OperationManager::instance().init());
    const QSharedPointer<ProbeOperation> operation = registered<ProbeOperation>();
    operation->exec();
    EXPECT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));
    EXPECT_EQ(operation->execResultCount(), 1);
    operation->remove();
}
