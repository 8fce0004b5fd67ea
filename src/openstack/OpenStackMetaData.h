#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Api {

// The object metadata of the application as Swift headers, and back. Like the S3 form, the
// two directions are not symmetric: header() writes the five known keys only, fromHeader()
// keeps every response header, the four metadata headers under their metadata keys.
class OpenStackMetaData
{
public:
    using HeaderMap = QMap<QByteArray, QByteArray>;

    static const QByteArray ContentEncodingHeader;  // "Content-Encoding"
    static const QByteArray FilePermissionsHeader;  // "X-Object-Meta-Nk-Unixpermissons"
    static const QByteArray RealSizeHeader;         // "X-Object-Meta-Nk-Realsize"
    static const QByteArray EncryptionHeaderHeader; // "X-Object-Meta-Nk-Encryptioninfo"
    static const QByteArray ContentTypeHeader;      // "Content-Type"

    static HeaderMap header(const QMap<QString, QVariant>& metaData);
    static QMap<QString, QVariant> fromHeader(const HeaderMap& responseHeaders);
};

} // namespace Norvik::Cloud::Api
