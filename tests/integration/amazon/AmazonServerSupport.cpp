#include "AmazonServerSupport.h"

#include "info/CloudType.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <QBuffer>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QUuid>

#include <gtest/gtest.h>

namespace NorvikTest {

AmazonServer AmazonServer::start()
{
    AmazonServer server;
    QFile file(QString::fromLocal8Bit(qgetenv("NORVIK_AMAZON_ENDPOINT_FILE")));
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "no endpoint file of the amazon test server: " << file.fileName().toStdString();
        return server;
    }
    server.address = QUrl(QString::fromUtf8(file.readAll().trimmed()));
    const QString run = QString::fromLocal8Bit(qgetenv("CLOUDTEST_RUN"));
    server.caFile = (run.isEmpty() ? QStringLiteral("/tmp/norvik-cloudtest") : run) + "/amazon/ca.pem";
    installLocalServerNames(server.caFile, server.address.port());
    return server;
}

void AmazonServer::control(const QString& request) const
{
    const QString url = address.toString() + QStringLiteral("/_test/") + request;
    const int rc = QProcess::execute(QStringLiteral("curl"),
                                     {QStringLiteral("-sf"), QStringLiteral("-X"), QStringLiteral("POST"),
                                      QStringLiteral("--cacert"), caFile, url});
    ASSERT_EQ(rc, 0) << "the test server refused " << request.toStdString();
}

QMap<QString, QVariant> amazonConfig(const AmazonServer& server, const QString& signature,
                                     const QString& region)
{
    namespace Config = Norvik::Cloud::Config;
    return {
        {Config::Type, Norvik::Cloud::Name::AmazonS3},
        {Config::Id, QUuid::createUuid()},
        {Config::AmazonS3Like::AccessKey, server.accessKey},
        {Config::AmazonS3Like::SecretKey, server.secretKey},
        {Config::AmazonS3Like::Signature::Key, signature},
        {Config::AmazonS3Like::Region, region},
        {Norvik::Cloud::Api::Config::Http::Endpoint, QStringLiteral("https://amazon.test")},
    };
}

void AmazonBucketTest::SetUp()
{
    server = AmazonServer::start();
    ASSERT_FALSE(server.caFile.isEmpty());
    bucket = QStringLiteral("amazon-") + QUuid::createUuid().toString(QUuid::Id128).left(12);
    s3 = connect(amazonConfig(server));
    ASSERT_TRUE(s3->createContainers(QJsonObject{{"name", bucket}, {"region", "us-east-1"}}));
}

std::unique_ptr<Norvik::Cloud::Api::CloudAmazonS3>
AmazonBucketTest::connect(const QMap<QString, QVariant>& config)
{
    auto connection = std::make_unique<Norvik::Cloud::Api::CloudAmazonS3>();
    EXPECT_TRUE(connection->setConfig(config));
    return connection;
}

QByteArray AmazonBucketTest::download(const QString& path)
{
    QBuffer out;
    out.open(QIODevice::ReadWrite);
    QMap<QString, QVariant> metaData;
    s3->download(bucket, path, out, metaData, QUuid());
    return out.data();
}

} // namespace NorvikTest
