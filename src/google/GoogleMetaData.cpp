#include "google/GoogleMetaData.h"

#include "connection/CloudFileMetaData.h"

#include <QPair>

namespace Norvik::Cloud::Api {

// "permissons" is what every stored object carries; the spelling stays.
const QByteArray GoogleMetaData::GoogleContentEncoding = QByteArrayLiteral("Content-Encoding");
const QByteArray GoogleMetaData::GoogleFilePermissions = QByteArrayLiteral("x-goog-meta-nk-unix-permissons");
const QByteArray GoogleMetaData::GoogleRealSize = QByteArrayLiteral("x-goog-meta-nk-realsize");
const QByteArray GoogleMetaData::GoogleEncryptionHeader = QByteArrayLiteral("x-goog-meta-nk-encryptioninfo");
const QByteArray GoogleMetaData::GoogleContentType = QByteArrayLiteral("Content-Type");

GoogleMetaData::HeaderMap GoogleMetaData::header(const QMap<QString, QVariant>& metaData)
{
    const QPair<const QString*, const QByteArray*> known[] = {
        {&CloudFileMetaData::ContentEncoding, &GoogleContentEncoding},
        {&CloudFileMetaData::FilePermissions, &GoogleFilePermissions},
        {&CloudFileMetaData::RealSize, &GoogleRealSize},
        {&CloudFileMetaData::EncryptionHeader, &GoogleEncryptionHeader},
        {&CloudFileMetaData::ContentType, &GoogleContentType},
    };
    HeaderMap headers;
    for (const auto& entry : known) {
        const auto value = metaData.constFind(*entry.first);
        if (value != metaData.cend())
            headers.insert(*entry.second, value->toString().toUtf8());
    }
    return headers;
}

QMap<QString, QVariant> GoogleMetaData::fromHeader(const HeaderMap& responseHeaders)
{
    const QByteArray contentEncoding = GoogleContentEncoding.toLower();
    QMap<QString, QVariant> metaData;
    for (auto it = responseHeaders.cbegin(); it != responseHeaders.cend(); ++it) {
        const QString value = QString::fromUtf8(it.value());
        if (it.key() == contentEncoding)
            metaData.insert(CloudFileMetaData::ContentEncoding, value);
        else if (it.key() == GoogleFilePermissions)
            metaData.insert(CloudFileMetaData::FilePermissions, value);
        else if (it.key() == GoogleRealSize)
            metaData.insert(CloudFileMetaData::RealSize, value);
        else if (it.key() == GoogleEncryptionHeader)
            metaData.insert(CloudFileMetaData::EncryptionHeader, value);
        else
            metaData.insert(QString::fromUtf8(it.key()), value);
    }
    return metaData;
}

} // namespace Norvik::Cloud::Api
