#include "EngineTestOperations.h"

#include "engine/JobFormat.h"
#include "info/Config.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QThread>

#include "TestSupport.h"

#include <thread>

using namespace Norvik::Cloud;
using NorvikTest::ProbeOperation;

namespace {

QJsonObject failedResult(const QJsonObject& job, int code, const QString& message, const QString& cloudError)
{
    QJsonObject result = job;
    result.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Error);
    result.insert(JobFormat::Result::ErrorCode, code);
    result.insert(JobFormat::Result::ErrorMessage, message);
    result.insert(JobFormat::Result::CloudError, cloudError);
    return result;
}

} // namespace

TEST(Operation, StartsCreatedWithItsOwnIdAndConfig)
{
    const QMap<QString, QVariant> config = NorvikTest::probeConfig();
    ProbeOperation first(config);
    ProbeOperation second(config);
    EXPECT_EQ(first.state(), IOperation::StateCreated);
    EXPECT_FALSE(first.isComplite());
    EXPECT_FALSE(first.isError());
    EXPECT_EQ(first.errorCode(), 0);
    EXPECT_TRUE(first.errorMessage().isEmpty());
    EXPECT_TRUE(first.cloudError().isEmpty());
    EXPECT_FALSE(first.id().isNull());
    EXPECT_NE(first.id(), second.id());
    EXPECT_EQ(first.type(), QStringLiteral("Probe"));
    EXPECT_EQ(first.cloudConfig(), config);
}

TEST(Operation, JobCarriesTheWholeConfigurationTypeAndId)
{
    const QMap<QString, QVariant> config = NorvikTest::probeConfig();
    ProbeOperation operation(config);
    const QJsonObject job = operation.createJob(QStringLiteral("listing"));
    EXPECT_EQ(job.value(JobFormat::Type).toString(), QStringLiteral("listing"));
    EXPECT_EQ(job.value(JobFormat::Id).toString(), operation.id().toString());
    EXPECT_TRUE(job.value(JobFormat::Id).toString().startsWith(QLatin1Char('{')));
    // Credentials included: job threads build their connection from the job alone.
    EXPECT_EQ(job.value(Config::AmazonS3Like::SecretKey).toString(), QStringLiteral("s3cr3t"));
    EXPECT_EQ(QUuid(job.value(Config::Id).toString()), config.value(Config::Id).toUuid());
    EXPECT_EQ(job.size(), config.size() + 2);
}

TEST(Operation, StateChangesTakeEffectOnTheOwningThreadOnly)
{
    ProbeOperation operation(NorvikTest::probeConfig());
    QThread* startedOn = nullptr;
    QThread* finishedOn = nullptr;
    int finishedCount = 0;
    QObject::connect(&operation, &IOperation::started, [&] { startedOn = QThread::currentThread(); });
    QObject::connect(&operation, &IOperation::finished, [&] {
        finishedOn = QThread::currentThread();
        ++finishedCount;
    });

    std::thread other([&] {
        operation.changeState(IOperation::StateRunning, QString());
        operation.changeState(IOperation::StateError, QStringLiteral("went wrong"));
    });
    other.join();
    // Queued: nothing has changed until this thread's event loop runs.
    EXPECT_EQ(operation.state(), IOperation::StateCreated);
    EXPECT_FALSE(operation.isComplite());

    ASSERT_TRUE(NorvikTest::waitFor([&] { return operation.isComplite(); }, 2000));
    EXPECT_EQ(startedOn, QThread::currentThread());
    EXPECT_EQ(finishedOn, QThread::currentThread());
    EXPECT_EQ(finishedCount, 1);
    EXPECT_TRUE(operation.isError());
    EXPECT_EQ(operation.errorMessage(), QStringLiteral("went wrong"));
}

TEST(Operation, StateChangeReachesAClientThreadWithItsOwnLoop)
{
    QThread client;
    client.start();
    auto* operation = new ProbeOperation(NorvikTest::probeConfig());
    operation->moveToThread(&client);
    std::atomic<QThread*> finishedOn{nullptr};
    QObject::connect(operation, &IOperation::finished, [&] { finishedOn.store(QThread::currentThread()); });

    operation->changeState(IOperation::StateComplete, QString());
    ASSERT_TRUE(NorvikTest::waitFor([&] { return finishedOn.load() != nullptr; }, 2000));
    EXPECT_EQ(finishedOn.load(), &client);
    EXPECT_EQ(operation->state(), IOperation::StateComplete);

    client.quit();
    client.wait();
    delete operation;
}

TEST(OperationSimple, MakesItsJobOnce)
{
    ProbeOperation operation(NorvikTest::probeConfig());
    const QJsonDocument job = operation.makeJob();
    ASSERT_TRUE(job.isObject());
    EXPECT_EQ(job.object().value(JobFormat::Type).toString(), QStringLiteral("probe"));
    EXPECT_EQ(operation.phase(), 1);
    EXPECT_TRUE(operation.makeJob().isNull());
    EXPECT_TRUE(operation.makeJob().isNull());
}

TEST(OperationSimple, ResultBeforeTheJobIsIgnored)
{
    ProbeOperation operation(NorvikTest::probeConfig());
    operation.resultJob(QJsonDocument(operation.createJob(QStringLiteral("probe"))));
    EXPECT_EQ(operation.execResultCount(), 0);
    EXPECT_FALSE(operation.makeJob().isNull());
}

TEST(OperationSimple, DocumentThatIsNoObjectLeavesTheJobAwaited)
{
    ProbeOperation operation(NorvikTest::probeConfig());
    operation.makeJob();
    operation.resultJob(QJsonDocument());
    operation.resultJob(QJsonDocument(QJsonArray{1, 2}));
    EXPECT_EQ(operation.execResultCount(), 0);
    EXPECT_EQ(operation.phase(), 1);
}

TEST(OperationSimple, SuccessEndsInStateThree)
{
    ProbeOperation operation(NorvikTest::probeConfig());
    QJsonObject result = operation.makeJob().object();
    result.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Success);
    operation.resultJob(QJsonDocument(result));
    EXPECT_EQ(operation.phase(), 2);
    ASSERT_TRUE(NorvikTest::waitFor([&] { return operation.isComplite(); }, 2000));
    EXPECT_EQ(operation.state(), IOperation::StateComplete);
    EXPECT_FALSE(operation.isError());
    EXPECT_EQ(operation.errorCode(), 0);
}

TEST(OperationSimple, FailureCarriesCodeMessageAndCloudError)
{
    ProbeOperation operation(NorvikTest::probeConfig());
    int finished = 0;
    QObject::connect(&operation, &IOperation::finished, [&] { ++finished; });
    const QJsonObject job = operation.makeJob().object();
    operation.resultJob(QJsonDocument(failedResult(job, 21, QStringLiteral("Command is terminated by user"),
                                                   QStringLiteral("{\"type\":1}"))));
    // Code and record are there before the state change arrives, for a slot of finished().
    EXPECT_EQ(operation.errorCode(), 21);
    EXPECT_EQ(operation.cloudError(), QStringLiteral("{\"type\":1}"));
    EXPECT_FALSE(operation.isComplite());

    ASSERT_TRUE(NorvikTest::waitFor([&] { return finished == 1; }, 2000));
    EXPECT_TRUE(operation.isError());
    EXPECT_EQ(operation.errorMessage(), QStringLiteral("Command is terminated by user"));

    // A later result changes nothing.
    QJsonObject late = job;
    late.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Success);
    operation.resultJob(QJsonDocument(late));
    QCoreApplication::processEvents();
    EXPECT_EQ(operation.execResultCount(), 1);
    EXPECT_EQ(operation.state(), IOperation::StateError);
    EXPECT_EQ(finished, 1);
}

TEST(OperationSimple, AnythingButSuccessIsAFailure)
{
    // No "status" at all (a job sent back without a connection), a status in the wrong case,
    // and "Error" without the error keys: all end in state 4 with code 0 and empty texts.
    const QString statuses[] = {QString(), QStringLiteral("success"),
                                JobFormat::Result::Status::Value::Error};
    for (const QString& status : statuses) {
        ProbeOperation operation(NorvikTest::probeConfig());
        QJsonObject result = operation.makeJob().object();
        if (!status.isNull())
            result.insert(JobFormat::Result::Status::Key, status);
        operation.resultJob(QJsonDocument(result));
        ASSERT_TRUE(NorvikTest::waitFor([&] { return operation.isComplite(); }, 2000));
        EXPECT_EQ(operation.state(), IOperation::StateError) << status.toStdString();
        EXPECT_EQ(operation.errorCode(), 0);
        EXPECT_TRUE(operation.errorMessage().isEmpty());
        EXPECT_TRUE(operation.cloudError().isEmpty());
    }
}
