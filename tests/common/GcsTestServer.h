#pragma once

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QVariant>

namespace NorvikTest {

// The Google Cloud Storage test server of tests/servers (start-gcs.sh): its admin interface, the
// credentials it accepts, and the process settings that send the service's fixed https names
// through its proxy with its CA.
class GcsTestServer
{
public:
    using ConfigMap = QMap<QString, QVariant>;

    // From the endpoint the fixture wrote; invalid when it is missing or does not answer.
    explicit GcsTestServer(const QString& endpoint);
    bool isValid() const { return !m_info.isEmpty(); }
    const QJsonObject& info() const { return m_info; }

    // GET <endpoint>/_admin/<command>; the JSON answer, empty on failure.
    QJsonObject admin(const QString& command) const;
    int stat(const QString& name) const;

    // The proxy and the CA for every transfer of the process, with fast retries.
    void installTransportSettings() const;

    ConfigMap hmacConfig() const;
    ConfigMap serviceAccountConfig() const;
    ConfigMap installedApplicationConfig() const;

private:
    ConfigMap withInfo(int authType, const QList<QPair<QString, const char*>>& keys) const;
    QString m_endpoint;
    QJsonObject m_info;
};

} // namespace NorvikTest
