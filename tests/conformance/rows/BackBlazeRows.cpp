// The B2 connection against our B2 server, which keeps state, checks keys, tokens and the
// SHA-1 of every upload.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "connection/ICloud.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include <QJsonArray>
#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;
using Norvik::Cloud::Api::CloudFileMetaData;

// A wrong application key fails the authorisation itself.
constexpr int InvalidAuthorizationCode = 9;

[[maybe_unused]] const bool added = Conformance::addRow({
    QStringLiteral("b2"),
    [] {
        const QString endpoint = Conformance::serverEndpoint(QStringLiteral("b2"));
        if (endpoint.isEmpty())
            return Conformance::ConfigMap();
        return Conformance::ConfigMap{
            {Config::Type, Norvik::Cloud::Name::BackBlaze},
            {Config::Id, QUuid::createUuid()},
            {Config::BackBlaze::AccountId, QStringLiteral("000a1b2c3d4e5f60000000001")},
            {Config::BackBlaze::ApplicationKey, QStringLiteral("K000xxxxxxxxxxxxxxxxxxxxxxxxxxx")},
            {Norvik::Cloud::Api::Config::Http::Endpoint, endpoint},
            {Norvik::Cloud::Api::Config::Http::UseSsl, false},
        };
    },
    [](const QString& bucket) {
        return QJsonObject{{QStringLiteral("Name"), bucket}, {QStringLiteral("AccessType"), "allPrivate"}};
    },
    [](Conformance::ConfigMap& config) {
        config.insert(Config::BackBlaze::ApplicationKey, QStringLiteral("K000-not-the-key"));
    },
    InvalidAuthorizationCode,
    {CloudFileMetaData::RealSize, CloudFileMetaData::FilePermissions, CloudFileMetaData::EncryptionHeader},
    {},
    -1,
    // B2 calls need the bucket's id beside its name: the connection's containers are "name|id".
    [](Norvik::Cloud::Api::IConnection& connection, const QString& name) {
        const QJsonArray buckets = dynamic_cast<Norvik::Cloud::Api::ICloud&>(connection).containers().array();
        for (const QJsonValue& bucket : buckets) {
            const QString container = bucket.toObject().value(QStringLiteral("Name")).toString();
            if (container.startsWith(name + QLatin1Char('|')))
                return container;
        }
        return name;
    },
    false,
    false,
    // B2 answers every failure with a JSON document of its status, code and message.
    [](int status) -> QByteArray {
        const char* code = status == 429   ? "too_many_requests"
                           : status == 503 ? "service_unavailable"
                                           : "internal_error";
        return QByteArray(R"({"status": )") + QByteArray::number(status) + R"(, "code": ")" + code +
               R"(", "message": "try again"})";
    },
    "application/json",
});

} // namespace
