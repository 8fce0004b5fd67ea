#include "GcsTestServer.h"

#include "connection/CloudHttp.h"
#include "info/CloudType.h"
#include "info/Config.h"

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

class GcsTransportConfig : public Norvik::Core::GlobalConfig
{
public:
    GcsTransportConfig(const QString& proxy, const QString& ca)
        : m_proxy(proxy)
        , m_ca(ca)
    {
    }
    double retryWaitFactor() const override { return 0.001; }
    QString proxy() const override { return m_proxy; }
    QString caCertificatesPath() const override { return m_ca; }

private:
    QString m_proxy;
    QString m_ca;
};

GcsTestServer::ConfigMap base(int authType)
{
    return {{Norvik::Cloud::Config::Type, Norvik::Cloud::Name::GoogleStorage},
            {Norvik::Cloud::Config::Id, QUuid::createUuid()},
            {Google::AuthType, authType}};
}

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
    Norvik::Core::GlobalConfig::install(new GcsTransportConfig(
        m_info.value(QStringLiteral("proxy")).toString(), m_info.value(QStringLiteral("ca")).toString()));
}

GcsTestServer::ConfigMap GcsTestServer::hmacConfig() const
{
    ConfigMap config = base(Google::Auth_AccessAndSecretKey::Key);
    config.insert(Google::Auth_AccessAndSecretKey::AccessKey,
                  m_info.value(QStringLiteral("hmac_id")).toString());
    config.insert(Google::Auth_AccessAndSecretKey::SecretKey,
                  m_info.value(QStringLiteral("hmac_secret")).toString());
    return config;
}

GcsTestServer::ConfigMap GcsTestServer::serviceAccountConfig() const
{
    ConfigMap config = base(Google::Auth_ServiceAccount::Key);
    config.insert(Google::Auth_ServiceAccount::PrivateKey,
                  m_info.value(QStringLiteral("service_account_p12")).toString());
    config.insert(Google::Auth_ServiceAccount::ProjectId, m_info.value(QStringLiteral("project")).toString());
    config.insert(Google::Auth_ServiceAccount::ServiceAccount,
                  m_info.value(QStringLiteral("service_account")).toString());
    return config;
}

GcsTestServer::ConfigMap GcsTestServer::installedApplicationConfig() const
{
    ConfigMap config = base(Google::Auth_InstalledApplication::Key);
    config.insert(Google::Auth_InstalledApplication::ProjectId,
                  m_info.value(QStringLiteral("project")).toString());
    config.insert(Google::Auth_InstalledApplication::RefreshToken,
                  m_info.value(QStringLiteral("refresh_token")).toString());
    return config;
}

} // namespace NorvikTest
