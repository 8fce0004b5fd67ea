#include "GcsTestServer.h"

#include "connection/CloudHttp.h"
#include "info/CloudType.h"
#include "info/Config.h"

#include "TestSupport.h"

#include <NorvikCore/GlobalConfig.h>

#include <QJsonDocument>
#include <QUuid>

#include <curl/curl.h>

namespace NorvikTest {

namespace {

namespace Google = Norvik::Cloud::Config::GoogleStorage;

size_t collect(char* data, size_t size, size_t count, void* out)
{
    static_cast<QByteArray*>(out)->append(data, static_cast<int>(size * count));
    return size * count;
}

struct GcsTransportConfig : NorvikTest::TestGlobalConfig
{
    QString m_proxy, m_ca;
    QString proxy() const override { return m_proxy; }
    QString caCertificatesPath() const override { return m_ca; }
};

} // namespace

GcsTestServer::GcsTestServer(const QString& endpoint)
    : m_endpoint(endpoint)
{
    if (!endpoint.isEmpty())
        m_info = admin(QStringLiteral("info"));
}

QJsonObject GcsTestServer::admin(const QString& command) const
{
    QByteArray body;
    CURL* curl = curl_easy_init();
    const QByteArray url = (m_endpoint + QStringLiteral("/_admin/") + command).toUtf8();
    curl_easy_setopt(curl, CURLOPT_URL, url.constData());
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_cleanup(curl);
    return result == CURLE_OK ? QJsonDocument::fromJson(body).object() : QJsonObject();
}

int GcsTestServer::stat(const QString& name) const
{
    return admin(QStringLiteral("stats")).value(name).toInt(-1);
}

void GcsTestServer::installTransportSettings() const
{
    auto* config = new GcsTransportConfig;
    config->m_proxy = m_info.value(QStringLiteral("proxy")).toString();
    config->m_ca = m_info.value(QStringLiteral("ca")).toString();
    Norvik::Core::GlobalConfig::install(config);
}

GcsTestServer::ConfigMap GcsTestServer::withInfo(int authType,
                                                 const QList<QPair<QString, const char*>>& keys) const
{
    ConfigMap config{{Norvik::Cloud::Config::Type, Norvik::Cloud::Name::GoogleStorage},
                     {Norvik::Cloud::Config::Id, QUuid::createUuid()},
                     {Google::AuthType, authType}};
    for (const auto& key : keys)
        config.insert(key.first, m_info.value(QLatin1String(key.second)).toString());
    return config;
}

GcsTestServer::ConfigMap GcsTestServer::hmacConfig() const
{
    namespace Hmac = Google::Auth_AccessAndSecretKey;
    return withInfo(Hmac::Key, {{Hmac::AccessKey, "hmac_id"}, {Hmac::SecretKey, "hmac_secret"}});
}

GcsTestServer::ConfigMap GcsTestServer::serviceAccountConfig() const
{
    namespace Account = Google::Auth_ServiceAccount;
    return withInfo(Account::Key, {{Account::PrivateKey, "service_account_p12"},
                                   {Account::ProjectId, "project"},
                                   {Account::ServiceAccount, "service_account"}});
}

GcsTestServer::ConfigMap GcsTestServer::installedApplicationConfig() const
{
    namespace App = Google::Auth_InstalledApplication;
    return withInfo(App::Key, {{App::ProjectId, "project"}, {App::RefreshToken, "refresh_token"}});
}

} // namespace NorvikTest
