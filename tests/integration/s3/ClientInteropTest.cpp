// Interoperability with the client S3 users know: what we upload (in one piece or in parts) is
// read back byte for byte by awscli, with our metadata, and what it uploads (in one piece or in
// parts) we list and download. Runs against Swift's S3 layer.

#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "info/CloudType.h"
#include "info/Config.h"
#include "s3/CloudAmazonS3Like.h"

#include "AwsCli.h"
#include "TestSupport.h"

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>

#include <gmock/gmock.h>

namespace {

using Norvik::Cloud::Api::CloudAmazonS3Like;
using Norvik::Cloud::Api::CloudFileMetaData;
using Norvik::Cloud::Api::ListingObject;
namespace Config = Norvik::Cloud::Config;

constexpr int MiB = 1024 * 1024;

const QString AccessKey = QStringLiteral("test:tester");
const QString SecretKey = QStringLiteral("testing");

class ClientInterop : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(NorvikTest::AwsCli::install()) << "the S3 clients could not be installed";
        QFile endpointFile(QString::fromLocal8Bit(qgetenv("NORVIK_SWIFT_ENDPOINT_FILE")));
        ASSERT_TRUE(endpointFile.open(QIODevice::ReadOnly)) << "the swift test server did not start";
        endpoint = QUrl(QString::fromUtf8(endpointFile.readAll().trimmed()) + QStringLiteral("/"));
        s3 = std::make_unique<CloudAmazonS3Like>(Norvik::Cloud::Type::AmazonS3Like);
        ASSERT_TRUE(s3->setConfig({{Config::Type, Norvik::Cloud::Name::AmazonS3Like},
                                   {Config::Id, QUuid::createUuid()},
                                   {Config::AmazonS3Like::AccessKey, AccessKey},
                                   {Config::AmazonS3Like::SecretKey, SecretKey},
                                   {Config::AmazonS3Like::Region, QStringLiteral("us-east-1")},
                                   {Config::AmazonS3Like::Signature::Key, QStringLiteral("V4")},
                                   {Norvik::Cloud::Api::Config::Http::Endpoint, endpoint}}));
        bucket = QStringLiteral("s3-clients-") + QUuid::createUuid().toString(QUuid::Id128).left(12);
        ASSERT_TRUE(s3->createContainers({{"name", bucket}}));

        cli = std::make_unique<NorvikTest::AwsCli>(endpoint.toString(QUrl::StripTrailingSlash), AccessKey,
                                                   SecretKey);
        ASSERT_TRUE(cli->scratch.isValid());
    }

    // The bucket's deletion answers 204, which arrives as NoContent.
    void TearDown() override
    {
        if (!s3)
            return;
        QString marker;
        for (const QJsonValue& entry : s3->listing(bucket, QString(), marker, QString(), 1000).array())
            s3->delete_(bucket, entry.toObject());
        EXPECT_THROW(s3->removeContainers(bucket), Norvik::Cloud::Api::Exception::NoContent);
    }

    NorvikTest::AwsRun aws(const QStringList& arguments) { return cli->run(arguments); }

    // One object in one piece and one in two parts, both with the metadata of the application.
    QList<QPair<QString, QByteArray>> uploadOurObjects()
    {
        const QMap<QString, QVariant> metaData{
            {CloudFileMetaData::RealSize, 123456789},
            {CloudFileMetaData::FilePermissions, 420},
            {CloudFileMetaData::ContentEncoding, QStringLiteral("gzip")},
            {CloudFileMetaData::EncryptionHeader, QStringLiteral("2;7;name;256;;1")}};
        const QByteArray single = NorvikTest::randomBytes(300 * 1024 + 3, 61);
        const QByteArray first = NorvikTest::randomBytes(5 * MiB, 62);
        const QByteArray last = NorvikTest::randomBytes(MiB + 17, 63);
        s3->upload(bucket, QStringLiteral("/ours/single file.bin"), metaData, single, QUuid());
        const QByteArray uploadId =
            s3->beginMultipartUpload(bucket, QStringLiteral("/ours/multi.bin"), metaData);
        const QByteArray tag1 =
            s3->uploadMultipart(bucket, QStringLiteral("/ours/multi.bin"), uploadId, 1, first, QUuid());
        const QByteArray tag2 =
            s3->uploadMultipart(bucket, QStringLiteral("/ours/multi.bin"), uploadId, 2, last, QUuid());
        s3->endMultipartUpload(bucket, QStringLiteral("/ours/multi.bin"), uploadId, {{1, tag1}, {2, tag2}});
        return {{QStringLiteral("ours/single file.bin"), single},
                {QStringLiteral("ours/multi.bin"), first + last}};
    }

    QString writeFile(const QString& name, const QByteArray& data)
    {
        const QString path = cli->scratch.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size())
            ADD_FAILURE() << "cannot write " << path.toStdString();
        return path;
    }

    QUrl endpoint;
    std::unique_ptr<CloudAmazonS3Like> s3;
    QString bucket;
    std::unique_ptr<NorvikTest::AwsCli> cli;
};

TEST_F(ClientInterop, ObjectsWeUploadAreReadByAwsCli)
{
    const QList<QPair<QString, QByteArray>> objects = uploadOurObjects();
    for (const auto& object : objects) {
        const QString target = cli->scratch.filePath(QStringLiteral("aws-download"));
        const NorvikTest::AwsRun get =
            aws({"s3api", "get-object", "--bucket", bucket, "--key", object.first, target});
        ASSERT_EQ(get.exitCode, 0) << get.err.toStdString();
        QFile file(target);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly) && file.readAll() == object.second)
            << object.first.toStdString();

        const NorvikTest::AwsRun head =
            aws({"s3api", "head-object", "--bucket", bucket, "--key", object.first});
        ASSERT_EQ(head.exitCode, 0) << head.err.toStdString();
        const QJsonObject answer = QJsonDocument::fromJson(head.out).object();
        EXPECT_EQ(answer.value("ContentLength").toInt(), object.second.size());
        EXPECT_EQ(answer.value("ContentEncoding").toString(), "gzip");
        EXPECT_EQ(answer.value("Metadata").toObject(),
                  (QJsonObject{{"nk-realsize", "123456789"},
                               {"nk-unix-permissons", "420"},
                               {"nk-encryptioninfo", "2;7;name;256;;1"}}))
            << head.out.toStdString();
    }
}

TEST_F(ClientInterop, ObjectsTheClientsUploadAreListedAndDownloaded)
{
    const QByteArray awsBig = NorvikTest::randomBytes(12 * MiB + 5, 71);
    const QByteArray awsSmall = NorvikTest::randomBytes(2000, 72);

    // awscli sends files over 8 MiB in parts of 8 MiB.
    const NorvikTest::AwsRun big =
        aws({"s3", "cp", writeFile("aws-big", awsBig), QStringLiteral("s3://%1/aws/big file.bin").arg(bucket),
             "--metadata", "nk-realsize=999"});
    ASSERT_EQ(big.exitCode, 0) << big.err.toStdString();
    const NorvikTest::AwsRun small =
        aws({"s3api", "put-object", "--bucket", bucket, "--key", "aws/small.bin", "--body",
             writeFile("aws-small", awsSmall), "--content-encoding", "gzip"});
    ASSERT_EQ(small.exitCode, 0) << small.err.toStdString();
    const QMap<QString, QByteArray> expected{{"/aws/big file.bin", awsBig}, {"/aws/small.bin", awsSmall}};
    QMap<QString, QByteArray> tags;
    QString marker;
    for (const QJsonValue& entry : s3->listing(bucket, QString(), marker, QString(), 1000).array())
        tags.insert(ListingObject(entry.toObject()).name(), ListingObject(entry.toObject()).eTag());
    EXPECT_EQ(tags.keys(), expected.keys());
    // The tags of assembled objects count their parts: the clients did send these in parts.
    EXPECT_THAT(tags.value("/aws/big file.bin").toStdString(), ::testing::EndsWith("-2\""));
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        QByteArray data;
        QBuffer out(&data);
        out.open(QIODevice::WriteOnly);
        QMap<QString, QVariant> metaData;
        s3->download(bucket, it.key(), out, metaData, QUuid());
        EXPECT_EQ(data, it.value()) << it.key().toStdString();
        const bool isBig = it.key().startsWith("/aws/big");
        EXPECT_EQ(metaData.value(isBig ? CloudFileMetaData::RealSize : CloudFileMetaData::ContentEncoding)
                      .toString(),
                  isBig ? "999" : "gzip");
    }
}

} // namespace
