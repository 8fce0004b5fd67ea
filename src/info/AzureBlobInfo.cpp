#include "info/AzureBlobInfo.h"

#include "info/Config.h"

#include <QObject>

namespace Norvik::Cloud::Info {

namespace {

QUrl hostUrl(const QString& host)
{
    QUrl url;
    url.setHost(host);
    return url;
}

} // namespace

AzureBlob::AzureBlob()
    : Base(Type::AzureBlob)
{
    m_minChunkSize = 1;
    m_maxChunkSize = 100 * MiB;
    m_maxChunkCount = 50000;
    m_maxFileSize = 8 * TiB;
    m_encryptionContainer = 3;
    m_supportArchive = true;
    m_supportSignedUrl = true;
    m_supportContinueUpload = true;
    m_supportSynthetic = true;
    m_syntheticMinBlockSize = 1 * MiB;
}

AzureBlob::~AzureBlob() = default;

QUrl AzureBlob::defaultEndpoint() const
{
    return hostUrl(QStringLiteral("blob.core.windows.net"));
}

QMap<QString, QString> AzureBlob::accessType() const
{
    return {
        {QString(), QObject::tr("Private")},
        {QStringLiteral("blob"), QObject::tr("Public read access for blobs only")},
        {QStringLiteral("container"), QObject::tr("Public read access for container and blobs")},
    };
}

QStringList AzureBlob::accountTypes() const
{
    namespace Value = Config::AzureBlob::AccountTypes::Value;
    return {Value::Public, Value::Germany, Value::China, Value::Government, Value::AzureStack};
}

QMap<QString, QUrl> AzureBlob::accountTypeEndpoint() const
{
    namespace Value = Config::AzureBlob::AccountTypes::Value;
    return {
        {Value::Germany, hostUrl(QStringLiteral("blob.core.cloudapi.de"))},
        {Value::China, hostUrl(QStringLiteral("blob.core.chinacloudapi.cn"))},
        {Value::Government, hostUrl(QStringLiteral("blob.core.usgovcloudapi.net"))},
    };
}

} // namespace Norvik::Cloud::Info
