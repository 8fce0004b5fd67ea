// The Azure Blob connection to azurite, which checks SharedKey and shared-access signatures.

#include "Conformance.h"

#include "connection/CloudFileMetaData.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include <QUrl>
#include <QUuid>

namespace {

namespace Config = Norvik::Cloud::Config;
using Norvik::Cloud::Api::CloudFileMetaData;

// azurite refuses a wrong key as an authorisation failure of the account.
constexpr int InvalidAccountCode = 9;

[[maybe_unused]] const bool added =
    Conformance::addRow({
        QStringLiteral("azure.azurite"),
        [] {
            const QString endpoint = Conformance::serverEndpoint(QStringLiteral("azurite"));
            if (endpoint.isEmpty())
                return Conformance::ConfigMap();
            // The account goes in front of the host, as with the service's own host names:
            // libcurl resolves "devstoreaccount1.blob.localhost" to the loopback.
            return Conformance::ConfigMap{
                {Config::Type, Norvik::Cloud::Name::AzureBlob},
                {Config::Id, QUuid::createUuid()},
                {Config::AzureBlob::Username, QStringLiteral("devstoreaccount1")},
                {Config::AzureBlob::Password, QStringLiteral("Eby8vdM02xNOcqFlqUwJPLlmEtlCDXJ1OUzFT50uSRZ6IFs"
                                                             "uFq2UVErCz4I6tq/K1SZFPTOtr/KBHBeksoGMGw==")},
                {Norvik::Cloud::Api::Config::Http::Endpoint,
                 QUrl(QStringLiteral("http://blob.localhost:%1").arg(QUrl(endpoint).port()))},
                {Norvik::Cloud::Api::Config::Http::UseSsl, false},
            };
        },
        [](const QString& container) {
            return QJsonObject{{QStringLiteral("name"), container}};
        },
        [](Conformance::ConfigMap& config) {
            config.insert(Config::AzureBlob::Password,
                          QString::fromLatin1(QByteArray("not the key").toBase64()));
        },
        InvalidAccountCode,
        {CloudFileMetaData::RealSize, CloudFileMetaData::FilePermissions, CloudFileMetaData::ContentEncoding,
         CloudFileMetaData::EncryptionHeader},
        {},
        // Beginning a block upload sends nothing: the refused block is the upload's last result.
        0,
    }) &&
    Conformance::addRoute(QStringLiteral("azure.azurite"), [](Conformance::ConfigMap& config, quint16 port) {
        // The proxy listens on the loopback too: only the port changes, so the account stays in
        // the host name.
        const QString key = Norvik::Cloud::Api::Config::Http::Endpoint;
        QUrl endpoint = config.value(key).toUrl();
        const QString target = QStringLiteral("127.0.0.1:%1").arg(endpoint.port());
        endpoint.setPort(port);
        config.insert(key, endpoint);
        config.insert(Config::Id, QUuid::createUuid());
        return target;
    });

} // namespace
