// Amazon S3 against our test server of the service: https with the test's own CA, buckets by
// virtual host under the service's host names, which the transport connects to the server.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include "engine/OperationConfig.h"

#include "TestSupport.h"

#include <QUrl>
#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;
using Norvik::Cloud::Api::CloudFileMetaData;

constexpr int SignatureDoesNotMatchCode = 9;
const QString Region = QStringLiteral("eu-west-1");

bool configured = false;

[[maybe_unused]] const bool added =
    Conformance::addRow({
        QStringLiteral("amazon"),
        [] {
            const QUrl address(Conformance::serverEndpoint(QStringLiteral("amazon")));
            if (address.isEmpty())
                return Conformance::ConfigMap();
            QString run = QString::fromLocal8Bit(qgetenv("CLOUDTEST_RUN"));
            if (run.isEmpty())
                run = QStringLiteral("/tmp/norvik-cloudtest");
            // The service's host names go to the server, with its CA; a route's names (under
            // "p<port>.amazon.test") go to the fault proxy on that port instead.
            NorvikTest::installLocalServerNames(run + QStringLiteral("/amazon/ca.pem"), address.port());
            configured = true;
            return Conformance::ConfigMap{
                {Config::Type, Norvik::Cloud::Name::AmazonS3},
                {Config::Id, QUuid::createUuid()},
                {Config::AmazonS3Like::AccessKey, QStringLiteral("AKIAAMAZONTEST000001")},
                {Config::AmazonS3Like::SecretKey,
                 QStringLiteral("amazon-test-secret/Key+0123456789abcdefghij")},
                {Config::AmazonS3Like::Region, Region},
                {Norvik::Cloud::Api::Config::Http::Endpoint, QUrl(QStringLiteral("https://amazon.test/"))},
            };
        },
        [](const QString& bucket) {
            return QJsonObject{{QStringLiteral("name"), bucket}, {QStringLiteral("region"), Region}};
        },
        [](Conformance::ConfigMap& config) {
            config.insert(Config::AmazonS3Like::SecretKey, QStringLiteral("not-the-secret"));
        },
        SignatureDoesNotMatchCode,
        {CloudFileMetaData::RealSize, CloudFileMetaData::FilePermissions, CloudFileMetaData::ContentEncoding,
         CloudFileMetaData::EncryptionHeader},
        {},
        -1,
        nullptr,
        true, // the service checks request times
        true, // and names its own
    }) &&
    Conformance::addRoute(QStringLiteral("amazon"), [](Conformance::ConfigMap& config, quint16 port) {
        // Requests keep going by the service's names, under a domain of the route's own, which the
        // transport connects to the proxy; the proxy passes the TLS stream on to the server.
        const QString target = QStringLiteral("127.0.0.1:%1")
                                   .arg(QUrl(Conformance::serverEndpoint(QStringLiteral("amazon"))).port());
        if (port == 0 || !configured)
            return target;
        const QString domain = QStringLiteral("p%1.amazon.test").arg(port);
        const QString bucket = config.value(Norvik::Cloud::OperationConfig::ContainerName).toString();
        NorvikTest::routeServerName(QStringLiteral("%1.s3.%2.%3").arg(bucket, Region, domain), port);
        NorvikTest::routeServerName(QStringLiteral("s3.") + domain, port);
        config.insert(Norvik::Cloud::Api::Config::Http::Endpoint,
                      QUrl(QStringLiteral("https://") + domain + '/'));
        config.insert(Config::Id, QUuid::createUuid());
        return target;
    });

} // namespace
