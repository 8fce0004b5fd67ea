// Swift's S3 layer only: the region of a bucket and the errors of the S3 protocol as a real
// server produces them.

#include "S3ServerSupport.h"

#include "connection/CloudHttp.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QJsonArray>
#include <QJsonObject>

#include <gmock/gmock.h>

namespace {

using Norvik::Cloud::Api::CloudAmazonS3Like;
using Norvik::Cloud::Api::CloudHttp;
using Norvik::Cloud::Api::ListingObject;
using Norvik::Cloud::Api::MultipartListPartObject;
using NorvikTest::downloadAll;
using NorvikTest::readBuffer;
namespace Exception = Norvik::Cloud::Api::Exception;

constexpr int MiB = 1024 * 1024;

using SwiftS3 = NorvikTest::S3BucketTest;

TEST_P(SwiftS3, ConfigurationCheckFindsTheBucketRegion)
{
    EXPECT_EQ(s3->checkBucketRegion(bucket), "us-east-1");
    auto config = NorvikTest::configFor(server, GetParam());
    config.remove(Norvik::Cloud::Config::AmazonS3Like::Region);
    s3->checkConfig(bucket, config);
    if (GetParam() == QLatin1String("V4"))
        EXPECT_EQ(config.value(Norvik::Cloud::Config::AmazonS3Like::Region).toString(), "us-east-1");
    else
        EXPECT_FALSE(config.contains(Norvik::Cloud::Config::AmazonS3Like::Region));
}

// --- Errors that the server produces ---------------------------------------------------------

TEST_P(SwiftS3, MissingBucketsAndKeysAreTheirOwnErrors)
{
    QString marker;
    EXPECT_THROW(s3->listing(QStringLiteral("no-such-bucket-") + bucket, QString(), marker, QString(), 10),
                 Exception::ContainerDoesNotExist);

    QByteArray data;
    QBuffer out(&data);
    out.open(QIODevice::ReadWrite);
    QMap<QString, QVariant> metaData;
    try {
        s3->download(bucket, QStringLiteral("/no-such-key"), out, metaData, QUuid());
        FAIL() << "nothing thrown";
    } catch (const Exception::NoContent& e) {
        EXPECT_EQ(e.code(), 404);
    }
    try {
        s3->header(bucket, QStringLiteral("/no-such-key"));
        FAIL() << "nothing thrown";
    } catch (const Exception::NoContent& e) {
        EXPECT_EQ(e.code(), 404);
    }
}

TEST_P(SwiftS3, BadBucketNamesAreInvalidContainerNames)
{
    try {
        s3->createContainers({{"name", "ab"}});
        FAIL() << "nothing thrown";
    } catch (const Exception::InvalidContainerName& e) {
        EXPECT_EQ(e.name(), "ab");
    }
}

TEST_P(SwiftS3, RefusedArgumentsAndMissingRightsAreTheirOwnErrors)
{
    const QByteArray uploadId = s3->beginMultipartUpload(bucket, QStringLiteral("/p"), {});
    try {
        s3->uploadMultipart(bucket, QStringLiteral("/p"), uploadId, 0, QByteArray("x"), QUuid());
        FAIL() << "part number 0 was accepted";
    } catch (const Exception::InvalidArgument& e) {
        EXPECT_EQ(e.argument(), "partNumber");
        EXPECT_THAT(e.message().toStdString(), ::testing::HasSubstr("Part number must be"));
    }
    s3->abortMultipartUpload(bucket, QStringLiteral("/p"), uploadId);

    // A user of the account without the admin role may not write.
    auto limited = server;
    limited.accessKey = QStringLiteral("test:tester3");
    limited.secretKey = QStringLiteral("testing3");
    auto user = NorvikTest::connectTo(limited, GetParam());
    try {
        user->upload(bucket, QStringLiteral("/y"), {}, QByteArray("x"), QUuid());
        FAIL() << "a user without rights could write";
    } catch (const Exception::AccessDenied& e) {
        EXPECT_EQ(e.code(), 403);
    }
}

TEST_P(SwiftS3, BrokenMultipartUploadsAreMultipartErrors)
{
    const QString key = QStringLiteral("/broken.bin");
    const QByteArray uploadId = s3->beginMultipartUpload(bucket, key, {});
    const QByteArray tag1 =
        s3->uploadMultipart(bucket, key, uploadId, 1, NorvikTest::randomBytes(5 * MiB, 51), QUuid());
    const QByteArray tag2 = s3->uploadMultipart(bucket, key, uploadId, 2, QByteArray("tail"), QUuid());

    // A tag that no part has.
    EXPECT_THROW(s3->endMultipartUpload(bucket, key, uploadId,
                                        {{1, tag1}, {2, "\"0123456789abcdef0123456789abcdef\""}}),
                 Exception::MultipartUploadError);
    // A part that is too small while not the last.
    const QByteArray uploadId2 = s3->beginMultipartUpload(bucket, key, {});
    const QByteArray small1 = s3->uploadMultipart(bucket, key, uploadId2, 1, QByteArray("small"), QUuid());
    const QByteArray small2 = s3->uploadMultipart(bucket, key, uploadId2, 2, QByteArray("tail"), QUuid());
    EXPECT_THROW(s3->endMultipartUpload(bucket, key, uploadId2, {{1, small1}, {2, small2}}),
                 Exception::MultipartUploadError);

    // The uploads are still there after the failures, and can be aborted.
    s3->abortMultipartUpload(bucket, key, uploadId);
    s3->abortMultipartUpload(bucket, key, uploadId2);
    Q_UNUSED(tag2)
}

TEST_P(SwiftS3, UnknownUploadIdsAreInvalidUploadIds)
{
    const QString key = QStringLiteral("/unknown-upload.bin");
    const QByteArray bogus = "bm90LWFuLXVwbG9hZA";
    EXPECT_THROW(s3->uploadMultipart(bucket, key, bogus, 1, QByteArray("x"), QUuid()),
                 Exception::MultipartInvalidUploadId);
    EXPECT_THROW(s3->endMultipartUpload(bucket, key, bogus, {{1, "\"x\""}}),
                 Exception::MultipartInvalidUploadId);
    EXPECT_THROW(s3->abortMultipartUpload(bucket, key, bogus), Exception::MultipartInvalidUploadId);
    // Listing the parts of a vanished upload gives none: the caller starts over.
    quint64 marker = 3;
    EXPECT_TRUE(s3->listPartsMultipart(bucket, key, bogus, marker).isEmpty());
    EXPECT_EQ(marker, 0u);

    // An aborted upload is gone as well.
    const QByteArray uploadId = s3->beginMultipartUpload(bucket, key, {});
    s3->abortMultipartUpload(bucket, key, uploadId);
    EXPECT_THROW(s3->uploadMultipart(bucket, key, uploadId, 1, QByteArray("x"), QUuid()),
                 Exception::MultipartInvalidUploadId);
}

INSTANTIATE_TEST_SUITE_P(Signature, SwiftS3, ::testing::Values(QStringLiteral("V2"), QStringLiteral("V4")),
                         [](const ::testing::TestParamInfo<QString>& param) {
                             return param.param.toStdString();
                         });

} // namespace
