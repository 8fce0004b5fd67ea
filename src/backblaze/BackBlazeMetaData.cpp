#include "backblaze/BackBlazeMetaData.h"

#include "connection/CloudFileMetaData.h"

#include <QPair>
#include <QUrl>

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
        // The service reads info values percent-encoded ("+" would be a blank), and encryption
        // headers hold such characters.
        if (value != metaData.cend())
            result.insert(key.second, QUrl::toPercentEncoding(value->toString()));
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
        bool info = false;
        for (const auto& known : infoKeys()) {
            // A large file's "fileInfo" keys come back behind the same prefix: "X-Bz-Info-Info-...".
            const QByteArray single = known.second.toLower();
            if (name == single || name == "x-bz-info-" + single.mid(5)) {
                key = known.first;
                info = true;
            }
        }
        const QByteArray value = it.value();
        metaData.insert(key, info ? QUrl::fromPercentEncoding(value) : QString::fromUtf8(value));
    }
    return metaData;
}

} // namespace Norvik::Cloud::Api
