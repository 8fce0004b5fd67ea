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

#include <curlpp/Easy.hpp>
#include <curlpp/Infos.hpp>
#include <curlpp/Options.hpp>

#include <iostream>
#include <sstream>

namespace NorvikTest {

namespace {

QUrl endpointFrom(const char* variable)
{
    QFile file(QString::fromLocal8Bit(qgetenv(variable)));
    if (!file.open(QIODevice::ReadOnly))
        return QUrl();
    return QUrl(QString::fromUtf8(file.readAll().trimmed()) + QStringLiteral("/"));
}

} // namespace

S3Server swiftS3()
{
    return {endpointFrom("NORVIK_SWIFT_ENDPOINT_FILE"), QStringLiteral("test:tester"),
            QStringLiteral("testing")};
}

S3Server s3rver()
{
    S3Server server{endpointFrom("NORVIK_S3RVER_ENDPOINT_FILE"), QStringLiteral("S3RVER"),
                    QStringLiteral("S3RVER")};
    server.verifiesSignatures = false;
    server.signatures = QStringList{QStringLiteral("V4")};
    server.nextMarkerWithDelimiter = false;
    return server;
}

S3Server serverUnderTest()
{
    const QByteArray name = qgetenv("NORVIK_S3_SERVER");
    if (name == "swift")
        return swiftS3();
    if (name == "s3rver")
        return s3rver();
    return S3Server();
}

std::vector<QString> signaturesUnderTest()
{
    // Read before the server starts: only the server's kind matters here.
    const QStringList signatures =
        qgetenv("NORVIK_S3_SERVER") == "s3rver" ? s3rver().signatures : swiftS3().signatures;
    return std::vector<QString>(signatures.cbegin(), signatures.cend());
}

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

std::unique_ptr<Norvik::Cloud::Api::CloudAmazonS3Like> connectTo(const S3Server& server,
                                                                 const QString& signature)
{
    auto s3 = std::make_unique<Norvik::Cloud::Api::CloudAmazonS3Like>(Norvik::Cloud::Type::AmazonS3Like);
    if (!s3->setConfig(configFor(server, signature)))
        return nullptr;
    return s3;
}

QString uniqueBucket(const QString& prefix)
{
    return QStringLiteral("%1-%2").arg(prefix, QUuid::createUuid().toString(QUuid::Id128).left(12));
}

QStringList objectNames(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket,
                        const QString& prefix)
{
    QStringList names;
    QString marker;
    do {
        const QJsonArray page = s3.listing(bucket, prefix, marker, QString(), 1000).array();
        for (const QJsonValue& entry : page)
            names << Norvik::Cloud::Api::ListingObject(entry.toObject()).name();
    } while (!marker.isEmpty());
    return names;
}

void removeBucket(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket)
{
    namespace Exception = Norvik::Cloud::Api::Exception;
    try {
        for (const QString& name : objectNames(s3, bucket))
            s3.delete_(bucket, Norvik::Cloud::Api::ListingObject(name, QDateTime(), 0, {}, {}, false).json());
        s3.removeContainers(bucket);
    } catch (const Exception::NoContent&) {
        // The bucket is gone.
    } catch (const Exception::Base& e) {
        std::cerr << "bucket " << bucket.toStdString() << " left behind: " << e.message().toStdString()
                  << '\n';
    }
}

QSharedPointer<QIODevice> readBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

QByteArray downloadAll(Norvik::Cloud::Api::CloudAmazonS3Like& s3, const QString& bucket, const QString& key,
                       QMap<QString, QVariant>* metaData)
{
    QByteArray data;
    QBuffer out(&data);
    out.open(QIODevice::WriteOnly);
    QMap<QString, QVariant> ignored;
    s3.download(bucket, key, out, metaData ? *metaData : ignored, QUuid());
    return data;
}

void S3BucketTest::SetUp()
{
    server = serverUnderTest();
    ASSERT_FALSE(server.endpoint.isEmpty())
        << "the test server did not start (NORVIK_S3_SERVER: " << qgetenv("NORVIK_S3_SERVER").toStdString()
        << ")";
    s3 = connectTo(server, GetParam());
    ASSERT_TRUE(s3);
    bucket = uniqueBucket(QStringLiteral("s3-test"));
    ASSERT_TRUE(s3->createContainers({{"name", bucket}}));
}

void S3BucketTest::TearDown()
{
    if (s3)
        removeBucket(*s3, bucket);
}

QPair<long, QByteArray> plainGet(const QString& url)
{
    std::ostringstream body;
    curlpp::Easy request;
    request.setOpt(curlpp::options::Url(url.toStdString()));
    request.setOpt(curlpp::options::WriteStream(&body));
    request.perform();
    return qMakePair(curlpp::infos::ResponseCode::get(request), QByteArray::fromStdString(body.str()));
}

} // namespace NorvikTest
