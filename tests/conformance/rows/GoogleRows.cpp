// Google Cloud Storage, signed in three ways, against our test server. Every request goes to the
// service's fixed https names through the server's proxy, with its CA: the real code path.

#include "Conformance.h"
#include "GcsTestServer.h"

#include "connection/CloudFileMetaData.h"
#include "connection/CloudHttp.h"
#include "info/Config.h"
#include "operations/ContainerParams.h"

#include <QUrl>
#include <QUuid>

#include <memory>

namespace {

namespace Google = Norvik::Cloud::Config::GoogleStorage;
using Norvik::Cloud::Api::CloudFileMetaData;
using NorvikTest::GcsTestServer;

// Refused signatures, tokens and keys all end as failures of authorisation.
constexpr int AuthorizationCode = 9;

const GcsTestServer& server()
{
    static const std::unique_ptr<GcsTestServer> instance =
        std::make_unique<GcsTestServer>(Conformance::serverEndpoint(QStringLiteral("gcs")));
    return *instance;
}

Conformance::ConfigMap configured(Conformance::ConfigMap (GcsTestServer::*make)() const)
{
    if (!server().isValid())
        return Conformance::ConfigMap();
    server().installTransportSettings();
    // What a plain client of a signed http URL needs to reach the service's name here.
    qputenv("http_proxy", server().info().value(QStringLiteral("proxy")).toString().toUtf8());
    return (server().*make)();
}

QJsonObject bucket(const QString& name)
{
    return Norvik::Cloud::ContainerParams::GoogleStorage(name, QStringLiteral("EU"),
                                                         QStringLiteral("STANDARD"))
        .json();
}

// The storage endpoint is given a port of the fault proxy: the server's proxy tunnels such a
// port to it, and it forwards to the TLS listener. The certificate's name stays the service's.
QString routeThroughProxy(Conformance::ConfigMap& config, quint16 port)
{
    config.insert(Norvik::Cloud::Api::Config::Http::Endpoint,
                  QUrl(QStringLiteral("https://storage.googleapis.com:%1").arg(port)));
    config.insert(Norvik::Cloud::Config::Id, QUuid::createUuid());
    return QStringLiteral("127.0.0.1:%1").arg(server().info().value(QStringLiteral("tls_port")).toInt());
}

bool addGoogleRow(const QString& name, Conformance::ConfigMap (GcsTestServer::*make)() const,
                  const QString& key, const std::function<QString()>& wrong,
                  const QList<Conformance::ServerLimit>& limits = {}, bool signsRequests = false)
{
    // Requests signed with an HMAC key carry their time, which the service checks and answers
    // with its own; a bearer token carries none.
    return Conformance::addRow({
               QStringLiteral("google.") + name,
               [make] { return configured(make); },
               bucket,
               [key, wrong](Conformance::ConfigMap& config) { config.insert(key, wrong()); },
               AuthorizationCode,
               {CloudFileMetaData::RealSize, CloudFileMetaData::FilePermissions,
                CloudFileMetaData::ContentEncoding, CloudFileMetaData::EncryptionHeader},
               limits,
               -1,
               nullptr,
               signsRequests,
               signsRequests,
           }) &&
           Conformance::addRoute(QStringLiteral("google.") + name, routeThroughProxy);
}

[[maybe_unused]] const bool added =
    addGoogleRow(
        QStringLiteral("hmac"), &GcsTestServer::hmacConfig, Google::Auth_AccessAndSecretKey::SecretKey,
        [] { return QStringLiteral("not the secret"); }, {}, true) &&
    // A sound key of another account: the token endpoint refuses its signature.
    addGoogleRow(QStringLiteral("serviceaccount"), &GcsTestServer::serviceAccountConfig,
                 Google::Auth_ServiceAccount::PrivateKey,
                 [] { return server().info().value(QStringLiteral("other_p12")).toString(); }) &&
    // Not the server's gap but this way of signing in: it holds no key, so the connection signs
    // no URL (an empty answer, by design), though the service can sign them.
    addGoogleRow(
        QStringLiteral("installedapp"), &GcsTestServer::installedApplicationConfig,
        Google::Auth_InstalledApplication::RefreshToken, [] { return QStringLiteral("1//revoked"); },
        {{&Conformance::Capabilities::signedUrl, "an installed application holds no key to sign URLs with"}});

} // namespace
