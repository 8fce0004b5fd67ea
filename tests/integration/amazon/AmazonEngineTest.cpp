#include "AmazonServerSupport.h"

#include "TestSupport.h"
#include "engine/IOperation.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/CloudType.h"
#include "info/Config.h"
#include "operations/AmazonLoadLifecyclePolicy.h"
#include "operations/AmazonOperationManager.h"
#include "operations/ArchiveQueryManager.h"

#include <QStringList>
#include <QUuid>

#include <gtest/gtest.h>

using namespace Norvik::Cloud;
namespace Keys = Config::AmazonS3;

namespace {

class AmazonEngine : public NorvikTest::AmazonBucketTest
{
protected:
    static void SetUpTestSuite() { OperationManager::instance(); }

    void SetUp() override
    {
        AmazonBucketTest::SetUp();
        config = NorvikTest::amazonConfig(server);
        config.insert(OperationConfig::ContainerName, bucket);
    }

    static bool run(const QSharedPointer<IOperation>& operation)
    {
        if (!operation)
            return false;
        operation->exec();
        const bool ended = NorvikTest::waitFor([&] { return operation->isComplite(); }, 60000);
        operation->remove();
        return ended;
    }

    QMap<QString, QVariant> config;
};

} // namespace

// A hundred paths through one manager with shrunken timers: missing objects fail, objects
// outside the archive are ready at once, PolicyAsk asks, PolicyRestore restores. Each path gets
// exactly its sequence of signals.
TEST_F(AmazonEngine, ArchiveQueryManagerRestoresManyPaths)
{
    server.control("restore-delay?seconds=0.5");
    auto glacier = config;
    glacier.insert(Keys::StorageClass::Key, Keys::StorageClass::Value::Glacier);
    Api::CloudAmazonS3 cold;
    ASSERT_TRUE(cold.setConfig(glacier));

    QStringList paths;
    QMap<QString, QStringList> expected;
    for (int i = 0; i < 100; ++i) {
        const QString path = QStringLiteral("/restore/%1.txt").arg(i);
        paths << path;
        const int kind = i % 10;
        if (kind > 0)
            (kind == 1 ? *s3 : cold).upload(bucket, path, {}, path.toUtf8(), QUuid());
        expected[path] = kind == 0   ? QStringList{"error"}
                         : kind == 1 ? QStringList{"ready"}
                         : kind == 2 ? QStringList{"ask"}
                                     : QStringList{"waiting", "ready"};
    }

    auto managerConfig = config;
    managerConfig.insert(Keys::Glacier::Key, Keys::Glacier::Value::Expedited);
    ArchiveQueryManager manager(managerConfig);
    manager.setTimerInterval(50);
    manager.setSecondLength(10); // the Expedited minute becomes 0.6 s
    QMap<QString, QStringList> seen;
    const auto record = [&seen](const char* what) {
        return [&seen, what](const QString& p) { seen[p] << what; };
    };
    QObject::connect(&manager, &ArchiveQueryManager::readyForDownload, record("ready"));
    QObject::connect(&manager, &ArchiveQueryManager::waitingChangeTier, record("waiting"));
    QObject::connect(&manager, &ArchiveQueryManager::needChangeTier, record("ask"));
    QObject::connect(&manager, &ArchiveQueryManager::error, [&](const QString& p, int code, const QString&) {
        EXPECT_NE(code, 0) << p.toStdString();
        seen[p] << "error";
    });

    for (int i = 0; i < paths.size(); ++i) {
        const auto policy = i % 10 == 2 ? ArchiveQueryManager::PolicyAsk : ArchiveQueryManager::PolicyRestore;
        manager.check(paths[i], policy);
        manager.check(paths[i], policy); // a first check is under way: nothing more
    }
    EXPECT_TRUE(seen.isEmpty());
    const auto finished = [&] {
        for (const QString& path : paths) {
            if (seen.value(path).size() < expected.value(path).size())
                return false;
        }
        return true;
    };
    ASSERT_TRUE(NorvikTest::waitFor(finished, 60000));
    NorvikTest::waitFor([] { return false; }, 300); // nothing more may come
    EXPECT_EQ(seen, expected);
}

TEST_F(AmazonEngine, LifecyclePolicyOperations)
{
    AmazonOperationManager amazon;
    auto load = [&] {
        const auto operation = amazon.loadLifecyclePolicy(config);
        EXPECT_TRUE(run(operation));
        EXPECT_EQ(operation->state(), IOperation::StateComplete) << operation->errorMessage().toStdString();
        return qSharedPointerCast<Operation::Amazon::LoadLifecyclePolicy>(operation)->data();
    };
    EXPECT_TRUE(load().isEmpty());
    const QByteArray policy =
        "<LifecycleConfiguration><Rule><ID>tmp</ID><Filter><Prefix>tmp/</Prefix></Filter>"
        "<Status>Enabled</Status><Expiration><Days>1</Days></Expiration></Rule>"
        "</LifecycleConfiguration>";
    const auto save = amazon.saveLifecyclePolicy(config, policy);
    ASSERT_TRUE(run(save));
    EXPECT_EQ(save->state(), IOperation::StateComplete) << save->errorMessage().toStdString();
    EXPECT_EQ(load(), policy);

    const auto broken = amazon.saveLifecyclePolicy(config, "<LifecycleConfiguration>");
    ASSERT_TRUE(run(broken));
    EXPECT_EQ(broken->state(), IOperation::StateError);
    EXPECT_NE(broken->errorCode(), 0);
    EXPECT_EQ(load(), policy);

    const auto remove = amazon.deleteLifecyclePolicy(config);
    ASSERT_TRUE(run(remove));
    EXPECT_EQ(remove->state(), IOperation::StateComplete);
    EXPECT_TRUE(load().isEmpty());
}
