// Swift's S3 layer only: the continuation of an interrupted multipart upload through the part
// listing, the region of a bucket, and the errors of the S3 protocol as a real server
// produces them.

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

TEST_P(SwiftS3, InterruptedMultipartUploadContinuesWithTheMissingParts)
{
    const QList<QByteArray> parts{NorvikTest::randomBytes(5 * MiB, 31), NorvikTest::randomBytes(5 * MiB, 32),
                                  NorvikTest::randomBytes(777, 33)};
    const QString key = QStringLiteral("/resumed.bin");
    const QByteArray uploadId = s3->beginMultipartUpload(bucket, key, {});
    s3->uploadMultipart(bucket, key, uploadId, 1, parts.at(0), QUuid());
    s3->uploadMultipart(bucket, key, uploadId, 2, parts.at(1), QUuid());
    // The process ends here; all that survives is the upload id.
    s3.reset();

    s3 = NorvikTest::connectTo(server, GetParam());
    ASSERT_TRUE(s3);
    quint64 marker = 0;
    QJsonArray listed;
    do {
        for (const QJsonValue& part : s3->listPartsMultipart(bucket, key, uploadId, marker))
            listed.append(part);
    } while (marker != 0);
    ASSERT_EQ(listed.size(), 2);
    EXPECT_EQ(MultipartListPartObject(listed.at(1).toObject()).size(), static_cast<quint64>(5 * MiB));

    // A part whose content changed since is sent again; so is one that never arrived.
    QList<QByteArray> now = parts;
    now[1][100] = static_cast<char>(now[1][100] ^ 0x5a);
    const quint64 putsBefore = CloudHttp::requestPutCount().first;
    QList<QPair<quint64, QByteArray>> tags;
    for (int i = 0; i < now.size(); ++i) {
        const quint64 number = static_cast<quint64>(i + 1);
        const auto present = s3->checkUploadPart(number, listed, readBuffer(now.at(i)), now.at(i).size());
        EXPECT_EQ(present.first, i == 0) << "part " << number;
        tags.append({number, present.first
                                 ? present.second
                                 : s3->uploadMultipart(bucket, key, uploadId, number, now.at(i), QUuid())});
    }
    EXPECT_EQ(CloudHttp::requestPutCount().first - putsBefore, 2u);

    s3->endMultipartUpload(bucket, key, uploadId, tags);
    EXPECT_EQ(downloadAll(*s3, bucket, key), QByteArray(now.at(0) + now.at(1) + now.at(2)));
}

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

TEST_P(SwiftS3, WrongCredentialsAreSignatureMismatches)
{
    auto wrongSecret = server;
    wrongSecret.secretKey = QStringLiteral("not-the-secret");
    auto wrong = NorvikTest::connectTo(wrongSecret, GetParam());
    EXPECT_THROW(wrong->upload(bucket, QStringLiteral("/x"), {}, QByteArray("x"), QUuid()),
                 Exception::SignatureDoesNotMatch);
    EXPECT_THROW(wrong->header(bucket, QStringLiteral("/x")), Exception::Operation);

    auto unknownKey = server;
    unknownKey.accessKey = QStringLiteral("nobody:nobody");
    auto unknown = NorvikTest::connectTo(unknownKey, GetParam());
    EXPECT_THROW(unknown->containers(), Exception::SignatureDoesNotMatch);
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
