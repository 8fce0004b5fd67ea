#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Api {

// The object metadata of the application as Azure Blob headers, and back.
//
// As for S3 the two directions differ: header() sends the five known keys only, while
// fromHeader() keeps every response header beside the metadata keys it recognises.
class AzureMetaData
{
public:
    using HeaderMap = QMap<QByteArray, QByteArray>;

    static const QByteArray AzureContentEncoding;  // "x-ms-blob-content-encoding"
    static const QByteArray AzureFilePermissions;  // "x-ms-meta-nkunixpermissons"
    static const QByteArray AzureRealSize;         // "x-ms-meta-nkrealsize"
    static const QByteArray AzureEncryptionHeader; // "x-ms-meta-nkencryptioninfo"
    static const QByteArray AzureContentType;      // "Content-Type"

    static HeaderMap header(const QMap<QString, QVariant>& metaData);
    // "content-encoding" and the three "x-ms-meta-" headers under their metadata keys, every
    // other header under its own name.
    static QMap<QString, QVariant> fromHeader(const HeaderMap& responseHeaders);
};

} // namespace Norvik::Cloud::Api
