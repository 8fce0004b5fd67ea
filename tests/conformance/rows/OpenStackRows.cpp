// Swift connections to a real Swift: signed in by Swift's own auth (the legacy exchange) and by
// Keystone v3, whose fixture runs a Swift of its own that takes Keystone's tokens.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include <QUrl>
#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;
using Norvik::Cloud::Api::CloudFileMetaData;

// Wrong credentials are refused by the identity service.
constexpr int InvalidAutorizationCode = 9;

Conformance::Row openStackRow(const QString& name, const QString& fixture, const QString& authPath,
                              const Conformance::ConfigMap& signIn)
{
    return {
        name,
        [=] {
            const QString endpoint = Conformance::serverEndpoint(fixture);
            if (endpoint.isEmpty())
                return Conformance::ConfigMap();
            Conformance::ConfigMap config = signIn;
            config.insert(Norvik::Cloud::Api::Config::Http::Endpoint, QUrl(endpoint + authPath));
            config.insert(Config::Type, Norvik::Cloud::Name::Openstack);
            config.insert(Config::Id, QUuid::createUuid());
            config.insert(Norvik::Cloud::Api::Config::Http::UseSsl, false);
            return config;
        },
        [](const QString& container) {
            return QJsonObject{{QStringLiteral("Name"), container}};
        },
        // No wrong-credentials variant: a token refused twice ends each request in an empty answer
        // rather than an error, by design of this family; the family's own tests show it.
        nullptr,
        InvalidAutorizationCode,
        {CloudFileMetaData::RealSize, CloudFileMetaData::FilePermissions, CloudFileMetaData::ContentEncoding,
         CloudFileMetaData::EncryptionHeader},
        {},
        // Beginning an upload sends nothing: the refused part is the upload's last result.
        0,
    };
}

namespace V3 = Config::OpenStack::Auth_Keystore_V3;

[[maybe_unused]] const bool added =
    Conformance::addRow(openStackRow(QStringLiteral("openstack.v1"), QStringLiteral("swift"),
                                     QStringLiteral("/auth/v1.0"),
                                     {{Config::OpenStack::Username, QStringLiteral("test:tester")},
                                      {Config::OpenStack::ApiKey, QStringLiteral("testing")}})) &&
    Conformance::addRow(openStackRow(QStringLiteral("openstack.v3"), QStringLiteral("keystone"),
                                     QStringLiteral("/v3"),
                                     {{Config::OpenStack::AuthType, V3::Key},
                                      {Config::OpenStack::Username, QStringLiteral("tester")},
                                      {Config::OpenStack::ApiKey, QStringLiteral("testerpw")},
                                      {V3::DomainName, QStringLiteral("Default")},
                                      {V3::Region, QStringLiteral("RegionOne")},
                                      {V3::UseScope::Key, true},
                                      {V3::UseScope::ProjectName, QStringLiteral("swifttest")}})) &&
    // Keystone's catalogue names the Swift address itself, so a proxy in front of the identity
    // service would carry no data: this row is not routed. (Swift's own auth answers with an
    // address on the host it was asked at, so the version 1 row goes through the proxy.)
    Conformance::addRoute(QStringLiteral("openstack.v3"),
                          [](Conformance::ConfigMap&, quint16) { return QString(); });

} // namespace
