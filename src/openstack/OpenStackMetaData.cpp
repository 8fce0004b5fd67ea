#include "openstack/OpenStackMetaData.h"

#include "connection/CloudFileMetaData.h"

#include <QPair>

namespace Norvik::Cloud::Api {

// "Unixpermissons" is the spelling that every stored object carries; it stays.
const QByteArray OpenStackMetaData::ContentEncodingHeader = QByteArrayLiteral("Content-Encoding");
const QByteArray OpenStackMetaData::FilePermissionsHeader =
    QByteArrayLiteral("X-Object-Meta-Nk-Unixpermissons");
const QByteArray OpenStackMetaData::RealSizeHeader = QByteArrayLiteral("X-Object-Meta-Nk-Realsize");
const QByteArray OpenStackMetaData::EncryptionHeaderHeader =
    QByteArrayLiteral("X-Object-Meta-Nk-Encryptioninfo");
const QByteArray OpenStackMetaData::ContentTypeHeader = QByteArrayLiteral("Content-Type");

OpenStackMetaData::HeaderMap OpenStackMetaData::header(const QMap<QString, QVariant>& metaData)
{
    const QPair<const QString*, const QByteArray*> known[] = {
        {&CloudFileMetaData::ContentEncoding, &ContentEncodingHeader},
        {&CloudFileMetaData::FilePermissions, &FilePermissionsHeader},
        {&CloudFileMetaData::RealSize, &RealSizeHeader},
        {&CloudFileMetaData::EncryptionHeader, &EncryptionHeaderHeader},
        {&CloudFileMetaData::ContentType, &ContentTypeHeader},
    };
    HeaderMap headers;
    for (const auto& entry : known) {
        const auto value = metaData.constFind(*entry.first);
        if (value != metaData.cend())
            headers.insert(*entry.second, value->toString().toUtf8());
    }
    return headers;
}

QMap<QString, QVariant> OpenStackMetaData::fromHeader(const HeaderMap& responseHeaders)
{
    const QPair<QByteArray, const QString*> known[] = {
        {ContentEncodingHeader.toLower(), &CloudFileMetaData::ContentEncoding},
        {FilePermissionsHeader.toLower(), &CloudFileMetaData::FilePermissions},
        {RealSizeHeader.toLower(), &CloudFileMetaData::RealSize},
        {EncryptionHeaderHeader.toLower(), &CloudFileMetaData::EncryptionHeader},
    };
    QMap<QString, QVariant> metaData;
    for (auto it = responseHeaders.cbegin(); it != responseHeaders.cend(); ++it) {
        const QByteArray key = it.key().toLower();
        QString name = QString::fromUtf8(it.key());
        for (const auto& entry : known) {
            if (key == entry.first)
                name = *entry.second;
        }
        metaData.insert(name, QString::fromUtf8(it.value()));
    }
    return metaData;
}

} // namespace Norvik::Cloud::Api
