#include "backblaze/BackBlazeMetaData.h"

#include "connection/CloudFileMetaData.h"

#include <QPair>

namespace Norvik::Cloud::Api {

const QByteArray BackBlazeMetaData::FilePermissionsHeader = QByteArrayLiteral("X-Bz-Info-unixperm");
const QByteArray BackBlazeMetaData::RealSizeHeader = QByteArrayLiteral("X-Bz-Info-realsize");
const QByteArray BackBlazeMetaData::EncryptionHeaderHeader = QByteArrayLiteral("X-Bz-Info-encrinfo");

namespace {

// Metadata key, header of a single upload; the "fileInfo" key is the header without "X-Bz-".
QList<QPair<QString, QByteArray>> infoKeys()
{
    return {
        {CloudFileMetaData::FilePermissions, BackBlazeMetaData::FilePermissionsHeader},
        {CloudFileMetaData::RealSize, BackBlazeMetaData::RealSizeHeader},
        {CloudFileMetaData::EncryptionHeader, BackBlazeMetaData::EncryptionHeaderHeader},
    };
}

} // namespace

BackBlazeMetaData::HeaderMap BackBlazeMetaData::header(const HeaderMap& headers,
                                                       const QMap<QString, QVariant>& metaData)
{
    HeaderMap result = headers;
    for (const auto& key : infoKeys()) {
        const auto value = metaData.constFind(key.first);
        if (value != metaData.cend())
            result.insert(key.second, value->toString().toUtf8());
    }
    const auto contentType = metaData.constFind(CloudFileMetaData::ContentType);
    if (contentType != metaData.cend())
        result.insert("Content-Type", contentType->toString().toUtf8());
    return result;
}

QJsonObject BackBlazeMetaData::fileInfo(const QMap<QString, QVariant>& metaData)
{
    QJsonObject info;
    for (const auto& key : infoKeys()) {
        const auto value = metaData.constFind(key.first);
        if (value != metaData.cend())
            info.insert(QString::fromLatin1(key.second.mid(5)), value->toString());
    }
    return info;
}

QMap<QString, QVariant> BackBlazeMetaData::fromHeader(const HeaderMap& headers)
{
    QMap<QString, QVariant> metaData;
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        const QByteArray name = it.key().toLower();
        QString key = QString::fromUtf8(name);
        for (const auto& known : infoKeys()) {
            if (name == known.second.toLower())
                key = known.first;
        }
        metaData.insert(key, QString::fromUtf8(it.value()));
    }
    return metaData;
}

} // namespace Norvik::Cloud::Api
