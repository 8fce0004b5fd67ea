#include "AzuriteSupport.h"

#include "connection/CloudFactory.h"
#include "info/Config.h"

#include <QBuffer>
#include <QFile>
#include <QJsonObject>
#include <QUuid>

namespace NorvikTest::Azurite {

using Norvik::Cloud::Api::CloudAzureBlob;

QUrl pathStyleEndpoint()
{
    QFile file(qEnvironmentVariable("NORVIK_AZURITE_ENDPOINT_FILE"));
    if (!file.open(QIODevice::ReadOnly))
        return QUrl();
    return QUrl(QString::fromUtf8(file.readAll().trimmed()));
}

QString connectionString()
{
    return QStringLiteral("DefaultEndpointsProtocol=http;AccountName=%1;AccountKey=%2;BlobEndpoint=%3;")
        .arg(Account, Key, pathStyleEndpoint().toString());
}

QMap<QString, QVariant> config(const QString& key)
{
    namespace Config = Norvik::Cloud::Config;
    namespace Http = Norvik::Cloud::Api::Config::Http;
    return {
        {Config::Type, QStringLiteral("AzureBlob")},
        {Config::Id, QUuid::createUuid()},
        {Config::AzureBlob::Username, Account},
        {Config::AzureBlob::Password, key},
        {Http::Endpoint, QStringLiteral("http://blob.localhost:%1").arg(pathStyleEndpoint().port())},
        {Http::UseSsl, false},
    };
}

std::unique_ptr<CloudAzureBlob> connect(const QMap<QString, QVariant>& config)
{
    return std::unique_ptr<CloudAzureBlob>(
        dynamic_cast<CloudAzureBlob*>(Norvik::Cloud::Api::CloudFactory::create(config)));
}

QString newContainer(CloudAzureBlob& azure, const char* prefix)
{
    const QString name = QStringLiteral("%1-%2").arg(QLatin1String(prefix),
                                                     QUuid::createUuid().toString(QUuid::Id128).left(12));
    azure.createContainers(QJsonObject{{QStringLiteral("name"), name}});
    return name;
}

QByteArray downloadAll(CloudAzureBlob& azure, const QString& container, const QString& path,
                       QMap<QString, QVariant>* metaData)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    QMap<QString, QVariant> received;
    azure.download(container, path, buffer, received, QUuid());
    if (metaData)
        *metaData = received;
    return data;
}

} // namespace NorvikTest::Azurite
