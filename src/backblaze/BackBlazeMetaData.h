#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Api {

// The application's object metadata as B2 file info: "X-Bz-Info-*" headers of a single upload,
// the "fileInfo" object of a large file, and back from the headers of a download. The content
// encoding is not kept by this service.
class BackBlazeMetaData
{
public:
    using HeaderMap = QMap<QByteArray, QByteArray>;

    static const QByteArray FilePermissionsHeader;  // "X-Bz-Info-unixperm"
    static const QByteArray RealSizeHeader;         // "X-Bz-Info-realsize"
    static const QByteArray EncryptionHeaderHeader; // "X-Bz-Info-encrinfo"

    // headers with the metadata headers added; info values percent-encoded, as the service
    // reads them.
    static HeaderMap header(const HeaderMap& headers, const QMap<QString, QVariant>& metaData);
    // The "fileInfo" of a large file; the content type travels apart.
    static QJsonObject fileInfo(const QMap<QString, QVariant>& metaData);
    // The three info headers (of a single upload, or a large file's "fileInfo" keys behind
    // the same prefix) under their metadata keys and percent-decoded; every other header under
    // its own name.
    static QMap<QString, QVariant> fromHeader(const HeaderMap& headers);
};

} // namespace Norvik::Cloud::Api
