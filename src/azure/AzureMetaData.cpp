#include "azure/AzureMetaData.h"

#include "connection/CloudFileMetaData.h"

#include <QPair>

namespace Norvik::Cloud::Api {

// "nkunixpermissons" is what every stored blob carries; the spelling stays.
const QByteArray AzureMetaData::AzureContentEncoding = QByteArrayLiteral("x-ms-blob-content-encoding");
const QByteArray AzureMetaData::AzureFilePermissions = QByteArrayLiteral("x-ms-meta-nkunixpermissons");
const QByteArray AzureMetaData::AzureRealSize = QByteArrayLiteral("x-ms-meta-nkrealsize");
const QByteArray AzureMetaData::AzureEncryptionHeader = QByteArrayLiteral("x-ms-meta-nkencryptioninfo");
const QByteArray AzureMetaData::AzureContentType = QByteArrayLiteral("Content-Type");

AzureMetaData::HeaderMap AzureMetaData::header(const QMap<QString, QVariant>& metaData)
{
    const QPair<const QString*, const QByteArray*> known[] = {
        {&CloudFileMetaData::ContentEncoding, &AzureContentEncoding},
        {&CloudFileMetaData::FilePermissions, &AzureFilePermissions},
        {&CloudFileMetaData::RealSize, &AzureRealSize},
        {&CloudFileMetaData::EncryptionHeader, &AzureEncryptionHeader},
        {&CloudFileMetaData::ContentType, &AzureContentType},
    };
    HeaderMap headers;
    for (const auto& entry : known) {
        const auto value = metaData.constFind(*entry.first);
        if (value != metaData.cend())
            headers.insert(*entry.second, value->toString().toUtf8());
    }
    return headers;
}

QMap<QString, QVariant> AzureMetaData::fromHeader(const HeaderMap& responseHeaders)
{
    QMap<QString, QVariant> metaData;
    for (auto it = responseHeaders.cbegin(); it != responseHeaders.cend(); ++it) {
        const QString value = QString::fromUtf8(it.value());
        if (it.key() == "content-encoding")
            metaData.insert(CloudFileMetaData::ContentEncoding, value);
        else if (it.key() == AzureFilePermissions)
            metaData.insert(CloudFileMetaData::FilePermissions, value);
        else if (it.key() == AzureRealSize)
            metaData.insert(CloudFileMetaData::RealSize, value);
        else if (it.key() == AzureEncryptionHeader)
            metaData.insert(CloudFileMetaData::EncryptionHeader, value);
        else
            metaData.insert(QString::fromUtf8(it.key()), value);
    }
    return metaData;
}

} // namespace Norvik::Cloud::Api
