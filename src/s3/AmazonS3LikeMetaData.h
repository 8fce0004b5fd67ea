#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Api {

// The object metadata of the application as S3 headers, and back.
//
// The two directions are not symmetric: headers() sends the five known keys only, while
// fromHeader() keeps every response header, so that callers see the service's own headers
// ("etag", "content-type", "x-amz-version-id", ...) beside the four that map to known keys.
class AmazonS3LikeMetaData
{
public:
    using HeaderMap = QMap<QByteArray, QByteArray>;

    static const QByteArray ContentEncodingHeader;  // "Content-Encoding"
    static const QByteArray FilePermissionsHeader;  // "x-amz-meta-nk-unix-permissons"
    static const QByteArray RealSizeHeader;         // "x-amz-meta-nk-realsize"
    static const QByteArray EncryptionHeaderHeader; // "x-amz-meta-nk-encryptioninfo"
    static const QByteArray ContentTypeHeader;      // "Content-Type"

    // Request headers for the keys of metaData that have one; all other keys are dropped.
    static HeaderMap header(const QMap<QString, QVariant>& metaData);
    // Every response header: the four metadata headers under their metadata keys, all others
    // under their own (lower-case) names.
    static QMap<QString, QVariant> fromHeader(const HeaderMap& responseHeaders);
};

} // namespace Norvik::Cloud::Api
