#include "S3ServerSupport.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QUuid>

namespace NorvikTest {

using Norvik::Cloud::Api::CloudAmazonS3Like;
using Norvik::Cloud::Api::ListingObject;

QMap<QString, QVariant> configFor(const S3Server& server, const QString& signature)
{
    namespace Config = Norvik::Cloud::Config;
    return {
        {Config::Type, Norvik::Cloud::Name::AmazonS3Like},
        {Config::Id, QUuid::createUuid()},
        {Config::AmazonS3Like::AccessKey, server.accessKey},
        {Config::AmazonS3Like::SecretKey, server.secretKey},
        {Config::AmazonS3Like::Region, QStringLiteral("us-east-1")},
        {Config::AmazonS3Like::Signature::Key, signature},
        {Norvik::Cloud::Api::Config::Http::Endpoint, server.endpoint},
    };
}

QStringList objectNames(CloudAmazonS3Like& s3, const QString& bucket)
{
    QStringList names;
    QString marker;
    do {
        for (const QJsonValue& entry : s3.listing(bucket, QString(), marker, QString(), 1000).array())
            names << ListingObject(entry.toObject()).name();
    } while (!marker.isEmpty());
    return names;
}

QByteArray downloadAll(CloudAmazonS3Like& s3, const QString& bucket, const QString& key)
{
    QBuffer out;
    out.open(QIODevice::WriteOnly);
    QMap<QString, QVariant> metaData;
    s3.download(bucket, key, out, metaData, QUuid());
    return out.data();
}

void S3BucketTest::SetUp()
{
    QFile file(QString::fromLocal8Bit(qgetenv("NORVIK_SWIFT_ENDPOINT_FILE")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << "the swift test server did not start";
    server.endpoint = QUrl(QString::fromUtf8(file.readAll().trimmed()) + QStringLiteral("/"));
    s3 = std::make_unique<CloudAmazonS3Like>(Norvik::Cloud::Type::AmazonS3Like);
    ASSERT_TRUE(s3->setConfig(configFor(server, GetParam())));
    bucket = QStringLiteral("s3-test-") + QUuid::createUuid().toString(QUuid::Id128).left(12);
    ASSERT_TRUE(s3->createContainers({{"name", bucket}}));
}

void S3BucketTest::TearDown()
{
    if (!s3)
        return;
    try {
        for (const QString& name : objectNames(*s3, bucket))
            s3->delete_(bucket, ListingObject(name, QDateTime(), 0, {}, {}, false).json());
        s3->removeContainers(bucket);
    } catch (const Norvik::Cloud::Api::Exception::Base&) {
        // NoContent: the bucket is gone. Anything else leaves it behind, which costs nothing.
    }
}

} // namespace NorvikTest
