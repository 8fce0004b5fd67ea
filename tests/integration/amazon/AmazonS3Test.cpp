#include "AmazonServerSupport.h"

#include "TestSupport.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "operations/ArchiveOption.h"
#include "s3/CloudAmazonS3Private.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonObject>
#include <QThread>
#include <QUrlQuery>
#include <QUuid>

#include <gtest/gtest.h>

using namespace Norvik::Cloud;
namespace Keys = Config::AmazonS3;
using Option = Api::ArchiveAmazonS3Option;

class AmazonConnection : public NorvikTest::AmazonBucketTest
{
};

// Single and multipart uploads carry class and encryption; the server refuses both on parts,
// so a multipart upload that completes has sent them on the initiation only.
TEST_F(AmazonConnection, ClassAndEncryptionGoOnNewObjectsNotOnParts)
{
    auto config = NorvikTest::amazonConfig(server);
    config.insert(Keys::StorageClass::Key, Keys::StorageClass::Value::Standard_IA);
    config.insert(Keys::UseSSE, true);
    auto ia = connect(config);
    ia->upload(bucket, "/single.bin", {}, QByteArray("single"), QUuid());

    const QByteArray first = NorvikTest::randomBytes(5 * 1024 * 1024, 3);
    const QByteArray uploadId = ia->beginMultipartUpload(bucket, "/multi.bin", {});
    const QByteArray tag1 = ia->uploadMultipart(bucket, "/multi.bin", uploadId, 1, first, QUuid());
    const QByteArray tag2 = ia->uploadMultipart(bucket, "/multi.bin", uploadId, 2, "tail", QUuid());
    ia->endMultipartUpload(bucket, "/multi.bin", uploadId, {{1, tag1}, {2, tag2}});

    for (const char* path : {"/single.bin", "/multi.bin"}) {
        SCOPED_TRACE(path);
        const auto headers = s3->header(bucket, path);
        EXPECT_EQ(headers.value("x-amz-storage-class"), "STANDARD_IA");
        EXPECT_EQ(headers.value("x-amz-server-side-encryption"), "AES256");
    }
    EXPECT_EQ(download("/multi.bin"), first + "tail");
}

// An archived object is not readable until its restore has finished. Deep Archive has no
// Expedited tier: the request goes out again as Standard. A restore that runs is reported as
// such, and objects outside the archive classes are ready at once.
TEST_F(AmazonConnection, RestoreFromDeepArchive)
{
    server.control("restore-delay?seconds=1.5");
    auto config = NorvikTest::amazonConfig(server);
    config.insert(Keys::StorageClass::Key, Keys::StorageClass::Value::GlacierDeepArchive);
    connect(config)->upload(bucket, "/cold.txt", {}, QByteArray("cold data"), QUuid());
    s3->upload(bucket, "/warm.txt", {}, QByteArray("warm"), QUuid());

    EXPECT_TRUE(s3->checkReadyForDownload(bucket, "/warm.txt"));
    EXPECT_FALSE(s3->checkReadyForDownload(bucket, "/cold.txt"));
    EXPECT_THROW(download("/cold.txt"), Api::Exception::InvalidObjectState);

    s3->prepareForDownload(bucket, "/cold.txt", Option(Option::Expedited, 2).toJson());
    EXPECT_FALSE(s3->checkReadyForDownload(bucket, "/cold.txt"));
    EXPECT_THROW(s3->prepareForDownload(bucket, "/cold.txt", Option(Option::Bulk, 2).toJson()),
                 Api::Exception::ArchiveRestoreAlreadyInProgress);
    EXPECT_TRUE(NorvikTest::waitFor([&] { return s3->checkReadyForDownload(bucket, "/cold.txt"); }, 10000));
    EXPECT_EQ(download("/cold.txt"), "cold data");
    EXPECT_TRUE(s3->header(bucket, "/cold.txt").value("x-amz-restore").contains("expiry-date="));

    // Bad input: a broken option, a missing object, an object that has nothing to restore.
    EXPECT_THROW(s3->prepareForDownload(bucket, "/cold.txt", QJsonObject{{"days", 2}}),
                 Api::Exception::InvalidData);
    EXPECT_THROW(s3->prepareForDownload(bucket, "/missing.txt", Option(Option::Standard, 1).toJson()),
                 Api::Exception::NoContent);
    EXPECT_THROW(s3->prepareForDownload(bucket, "/warm.txt", Option(Option::Standard, 1).toJson()),
                 Api::Exception::InvalidObjectState);
}

// With version 4 a wish for acceleration stays only where the bucket has it, and then requests
// go to the accelerate host (which the server refuses for other buckets). Version 2 asks
// nothing and keeps the plain host.
TEST_F(AmazonConnection, AccelerationCheckedWithVersion4Only)
{
    auto config = NorvikTest::amazonConfig(server);
    config.insert(Keys::UseAccelerate, true);
    auto asked = config;
    s3->checkConfig(bucket, asked);
    EXPECT_FALSE(asked.value(Keys::UseAccelerate).toBool());
    EXPECT_FALSE(s3->checkAccelerate(bucket));

    Api::CloudAmazonS3Private d;
    ASSERT_TRUE(d.setConfig(config));
    d.setUseAccelerate(false);
    d.setEndpoint(QUrl("https://amazon.test/"));
    QUrlQuery query;
    query.addQueryItem("accelerate", QString());
    Api::CloudAmazonS3Private::HeaderMap headers;
    d.put(bucket, "/", query, headers, true,
          QByteArray("<AccelerateConfiguration><Status>Enabled</Status></AccelerateConfiguration>"));
    EXPECT_TRUE(s3->checkAccelerate(bucket));

    asked = config;
    s3->checkConfig(bucket, asked);
    EXPECT_TRUE(asked.value(Keys::UseAccelerate).toBool());
    auto fast = connect(asked);
    fast->upload(bucket, "/fast.txt", {}, QByteArray("fast"), QUuid());
    EXPECT_EQ(download("/fast.txt", fast.get()), "fast");

    // A cut answer is refused, not read as "not enabled".
    server.control("broken-answers?on=1");
    EXPECT_THROW(s3->checkAccelerate(bucket), Api::Exception::InvalidData);
    server.control("broken-answers?on=0");

    auto v2config = NorvikTest::amazonConfig(server, "V2");
    v2config.insert(Keys::UseAccelerate, true);
    auto v2 = connect(v2config);
    v2->checkConfig(bucket, v2config);
    EXPECT_TRUE(v2config.value(Keys::UseAccelerate).toBool());
    v2->upload(bucket, "/v2.txt", {}, QByteArray("v2"), QUuid());
    EXPECT_EQ(download("/v2.txt", v2.get()), "v2");
}

// Buckets are made in the region asked for, which must be one of the service's.
TEST_F(AmazonConnection, CreateContainersInARegion)
{
    const QString other = NorvikTest::uniqueAmazonBucket(QStringLiteral("eu"));
    auto eu = connect(NorvikTest::amazonConfig(server, "V4", "eu-west-1"));
    ASSERT_TRUE(eu->createContainers(QJsonObject{{"name", other}, {"region", "eu-west-1"}}));
    EXPECT_EQ(eu->checkBucketRegion(other), "eu-west-1");
    EXPECT_EQ(s3->checkBucketRegion(bucket), "us-east-1");
    eu->upload(other, "/x.txt", {}, QByteArray("x"), QUuid());
    // Signed for the wrong region: the service names the right one.
    EXPECT_THROW(s3->upload(other, "/y.txt", {}, QByteArray("y"), QUuid()), Api::Exception::WrongRegion);

    EXPECT_FALSE(s3->createContainers(QJsonObject{{"name", "mars-bucket"}, {"region", "mars-north-1"}}));
    EXPECT_FALSE(s3->createContainers(QJsonObject{{"name", "no-region"}}));
}
