#include "EngineTestOperations.h"
#include "LogCapture.h"
#include "TestSupport.h"

#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationJob.h"
#include "engine/OperationManager.h"
#include "info/Config.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QUuid>

using namespace Norvik::Cloud;
using NorvikTest::LogCapture;
using NorvikTest::ProbeOperation;

namespace {

const QString MarkerKey = QStringLiteral("marker");

// Writes a file named by the job's "marker" through the connection it was given, so that the
// test can see which root, and so which configuration, the connection has.
QJsonDocument writeMarker(Api::IConnection* connection, const QJsonObject& job)
{
    connection->upload(QString(), job.value(MarkerKey).toString(), {}, QByteArray("m"), QUuid());
    QJsonObject result = job;
    result.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Success);
    result.insert(QStringLiteral("connection_id"), connection->id().toString());
    return QJsonDocument(result);
}

// One job thread and one task thread, so that consecutive jobs meet the same connection.
class JobThreadConnection : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        // The probe operation's jobs have the type "probe".
        OperationJob::addJobFunction(QStringLiteral("probe"), &writeMarker);
        OperationManager::setThreadCount(1);
        OperationManager::instance();
    }

    void SetUp() override
    {
        m_rootA = NorvikTest::scratchDir(QStringLiteral("root-a"));
        m_rootB = NorvikTest::scratchDir(QStringLiteral("root-b"));
    }

    static QMap<QString, QVariant> config(const QUuid& cloudId, const QString& root, const QString& marker)
    {
        return {{Config::Type, QStringLiteral("FileSystem")},
                {Config::Id, cloudId},
                {Config::FileSystem::Path, root},
                {MarkerKey, marker}};
    }

    // Runs one operation to its end and returns its last result.
    static QSharedPointer<ProbeOperation> run(const QMap<QString, QVariant>& configuration)
    {
        QSharedPointer<ProbeOperation> operation(new ProbeOperation(configuration));
        EXPECT_TRUE(OperationManager::instance().registerOperation(operation));
        operation->exec();
        EXPECT_TRUE(NorvikTest::waitFor([&] { return operation->isComplite(); }));
        operation->remove();
        return operation;
    }

    int connectionsMade() const { return m_log.count({QStringLiteral("Create cloud API...")}); }

    static bool has(const QString& root, const QString& marker)
    {
        return QFile::exists(QDir(root).filePath(marker));
    }

    LogCapture m_log;
    QString m_rootA;
    QString m_rootB;
};

TEST_F(JobThreadConnection, ConnectionIsKeptWhileTheCloudIdStays)
{
    const QUuid first = QUuid::createUuid();
    const QUuid second = QUuid::createUuid();

    auto operation = run(config(first, m_rootA, QStringLiteral("m1")));
    EXPECT_EQ(operation->state(), IOperation::StateComplete);
    EXPECT_EQ(QUuid(operation->lastResult().value(QStringLiteral("connection_id")).toString()), first);
    EXPECT_TRUE(has(m_rootA, QStringLiteral("m1")));
    EXPECT_EQ(connectionsMade(), 1);

    // Same id, other root: the connection is reused without a look at the rest of the map.
    operation = run(config(first, m_rootB, QStringLiteral("m2")));
    EXPECT_EQ(operation->state(), IOperation::StateComplete);
    EXPECT_TRUE(has(m_rootA, QStringLiteral("m2")));
    EXPECT_FALSE(has(m_rootB, QStringLiteral("m2")));
    EXPECT_EQ(connectionsMade(), 1);

    // A new id makes a new connection from the new configuration.
    operation = run(config(second, m_rootB, QStringLiteral("m3")));
    EXPECT_EQ(operation->state(), IOperation::StateComplete);
    EXPECT_EQ(QUuid(operation->lastResult().value(QStringLiteral("connection_id")).toString()), second);
    EXPECT_TRUE(has(m_rootB, QStringLiteral("m3")));
    EXPECT_FALSE(has(m_rootA, QStringLiteral("m3")));
    EXPECT_EQ(connectionsMade(), 2);
    EXPECT_EQ(m_log.count({QStringLiteral("Do exec...")}), 3);
}

} // namespace
