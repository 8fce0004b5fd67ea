// Debian's awscli against the Amazon test server: what it stores in an archive class, restores
// or sets as a lifecycle policy we read back, and the other way round. awscli goes in the path
// to the server's address, we by the service's host names; both over TLS with the test's CA.
#include "AmazonServerSupport.h"

#include "AwsCli.h"
#include "TestSupport.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "operations/ArchiveOption.h"

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <gtest/gtest.h>

using namespace Norvik::Cloud;
using Option = Api::ArchiveAmazonS3Option;
namespace Keys = Config::AmazonS3;

namespace {

class AmazonClients : public NorvikTest::AmazonBucketTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(NorvikTest::AwsCli::install()) << "awscli could not be installed";
        AmazonBucketTest::SetUp();
        ASSERT_FALSE(HasFatalFailure());
        cli = std::make_unique<NorvikTest::AwsCli>(server.address.toString(), server.accessKey,
                                                   server.secretKey, server.caFile);
        ASSERT_TRUE(cli->scratch.isValid());
    }

    // "aws s3api" with arguments; stdout parsed as JSON when there is any.
    QJsonObject aws(const QStringList& arguments)
    {
        const NorvikTest::AwsRun run = cli->run(QStringList{"s3api"} + arguments);
        EXPECT_EQ(run.exitCode, 0) << arguments.join(' ').toStdString() << "\n" << run.err.toStdString();
        return QJsonDocument::fromJson(run.out).object();
    }

    std::unique_ptr<NorvikTest::AwsCli> cli;
};

} // namespace

TEST_F(AmazonClients, ArchiveObjectsAndRestoresBothWays)
{
    server.control("restore-delay?seconds=3600");
    const QByteArray data = NorvikTest::randomBytes(70000, 13);
    QFile file(cli->scratch.filePath("glacier.bin"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(data);
    file.close();

    // awscli stores and restores; we see the class, refuse a second restore, then read.
    aws({"put-object", "--bucket", bucket, "--key", "theirs.bin", "--body", file.fileName(),
         "--storage-class", "GLACIER"});
    EXPECT_EQ(s3->header(bucket, "/theirs.bin").value("x-amz-storage-class"), "GLACIER");
    aws({"restore-object", "--bucket", bucket, "--key", "theirs.bin", "--restore-request",
         "Days=1,GlacierJobParameters={Tier=Expedited}"});
    EXPECT_THROW(s3->prepareForDownload(bucket, "/theirs.bin", Option(Option::Standard, 1).toJson()),
                 Api::Exception::ArchiveRestoreAlreadyInProgress);
    server.control("finish-restores");
    EXPECT_TRUE(s3->checkReadyForDownload(bucket, "/theirs.bin"));
    EXPECT_EQ(download("/theirs.bin"), data);

    // We store and restore; awscli sees the class and the restore under way, then the object.
    auto config = NorvikTest::amazonConfig(server);
    config.insert(Keys::StorageClass::Key, Keys::StorageClass::Value::GlacierDeepArchive);
    connect(config)->upload(bucket, "/ours.bin", {}, data, QUuid());
    s3->prepareForDownload(bucket, "/ours.bin", Option(Option::Bulk, 2).toJson());
    const QJsonObject head = aws({"head-object", "--bucket", bucket, "--key", "ours.bin"});
    EXPECT_EQ(head.value("StorageClass").toString(), "DEEP_ARCHIVE");
    EXPECT_EQ(head.value("Restore").toString(), "ongoing-request=\"true\"");
    server.control("finish-restores");
    EXPECT_TRUE(s3->checkReadyForDownload(bucket, "/ours.bin"));
    aws({"get-object", "--bucket", bucket, "--key", "ours.bin", cli->scratch.filePath("back.bin")});
    QFile back(cli->scratch.filePath("back.bin"));
    ASSERT_TRUE(back.open(QIODevice::ReadOnly));
    EXPECT_EQ(back.readAll(), data);
}

TEST_F(AmazonClients, LifecyclePoliciesBothWays)
{
    aws({"put-bucket-lifecycle-configuration", "--bucket", bucket, "--lifecycle-configuration",
         R"({"Rules":[{"ID":"from-aws","Status":"Enabled","Filter":{"Prefix":"logs/"},)"
         R"("Transitions":[{"Days":30,"StorageClass":"GLACIER"}]}]})"});
    const QByteArray theirs = s3->loadLifecyclePolicy(bucket);
    EXPECT_TRUE(theirs.contains("<ID>from-aws</ID>")) << theirs.toStdString();
    EXPECT_TRUE(theirs.contains("<StorageClass>GLACIER</StorageClass>")) << theirs.toStdString();

    EXPECT_TRUE(s3->saveLifecyclePolicy(
        bucket,
        "<LifecycleConfiguration xmlns=\"http://s3.amazonaws.com/doc/2006-03-01/\"><Rule><ID>from-us</ID>"
        "<Filter><Prefix>tmp/</Prefix></Filter><Status>Enabled</Status><Expiration><Days>7</Days>"
        "</Expiration></Rule></LifecycleConfiguration>"));
    const QJsonObject rule = aws({"get-bucket-lifecycle-configuration", "--bucket", bucket})
                                 .value("Rules")
                                 .toArray()
                                 .first()
                                 .toObject();
    EXPECT_EQ(rule.value("ID").toString(), "from-us");
    EXPECT_EQ(rule.value("Expiration").toObject().value("Days").toInt(), 7);
}
