// Amazon S3 against our test server of the service: https with the test's own CA, buckets by
// virtual host under the service's host names, which the transport connects to the server.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <QUrl>
#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;
using Norvik::Cloud::Api::CloudFileMetaData;

constexpr int SignatureDoesNotMatchCode = 9;

[[maybe_unused]] const bool added = Conformance::addRow({
    QStringLiteral("amazon"),
    [] {
        const QUrl address(Conformance::serverEndpoint(QStringLiteral("amazon")));
        if (address.isEmpty())
            return Conformance::ConfigMap();
        QString run = QString::fromLocal8Bit(qgetenv("CLOUDTEST_RUN"));
        if (run.isEmpty())
            run = QStringLiteral("/tmp/norvik-cloudtest");
        NorvikTest::installLocalServerNames(run + QStringLiteral("/amazon/ca.pem"), address.port());
        return Conformance::ConfigMap{
            {Config::Type, Norvik::Cloud::Name::AmazonS3},
            {Config::Id, QUuid::createUuid()},
            {Config::AmazonS3Like::AccessKey, QStringLiteral("AKIAAMAZONTEST000001")},
            {Config::AmazonS3Like::SecretKey, QStringLiteral("amazon-test-secret/Key+0123456789abcdefghij")},
            {Config::AmazonS3Like::Region, QStringLiteral("eu-west-1")},
            {Norvik::Cloud::Api::Config::Http::Endpoint, QUrl(QStringLiteral("https://amazon.test/"))},
        };
    },
    [](const QString& bucket) {
        return QJsonObject{{QStringLiteral("name"), bucket},
                           {QStringLiteral("region"), QStringLiteral("eu-west-1")}};
    },
    [](Conformance::ConfigMap& config) {
        config.insert(Config::AmazonS3Like::SecretKey, QStringLiteral("not-the-secret"));
    },
    SignatureDoesNotMatchCode,
    {CloudFileMetaData::RealSize, CloudFileMetaData::FilePermissions, CloudFileMetaData::ContentEncoding,
     CloudFileMetaData::EncryptionHeader},
    {},
});

} // namespace
