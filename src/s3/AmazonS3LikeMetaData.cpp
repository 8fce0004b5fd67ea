#include "s3/AmazonS3LikeMetaData.h"

#include "connection/CloudFileMetaData.h"

#include <QPair>

namespace Norvik::Cloud::Api {

// "permissons" is the name that objects written by every earlier version carry; it stays.
const QByteArray AmazonS3LikeMetaData::ContentEncodingHeader = QByteArrayLiteral("Content-Encoding");
const QByteArray AmazonS3LikeMetaData::FilePermissionsHeader =
    QByteArrayLiteral("x-amz-meta-nk-unix-permissons");
const QByteArray AmazonS3LikeMetaData::RealSizeHeader = QByteArrayLiteral("x-amz-meta-nk-realsize");
const QByteArray AmazonS3LikeMetaData::EncryptionHeaderHeader =
    QByteArrayLiteral("x-amz-meta-nk-encryptioninfo");
const QByteArray AmazonS3LikeMetaData::ContentTypeHeader = QByteArrayLiteral("Content-Type");

AmazonS3LikeMetaData::HeaderMap AmazonS3LikeMetaData::header(const QMap<QString, QVariant>& metaData)
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

QMap<QString, QVariant> AmazonS3LikeMetaData::fromHeader(const HeaderMap& responseHeaders)
{
    const QByteArray contentEncoding = ContentEncodingHeader.toLower();
    QMap<QString, QVariant> metaData;
    for (auto it = responseHeaders.cbegin(); it != responseHeaders.cend(); ++it) {
        const QByteArray key = it.key().toLower();
        const QString value = QString::fromUtf8(it.value());
        if (key == contentEncoding)
            metaData.insert(CloudFileMetaData::ContentEncoding, value);
        else if (key == FilePermissionsHeader)
            metaData.insert(CloudFileMetaData::FilePermissions, value);
        else if (key == RealSizeHeader)
            metaData.insert(CloudFileMetaData::RealSize, value);
        else if (key == EncryptionHeaderHeader)
            metaData.insert(CloudFileMetaData::EncryptionHeader, value);
        else
            metaData.insert(QString::fromUtf8(key), value);
    }
    return metaData;
}

} // namespace Norvik::Cloud::Api
