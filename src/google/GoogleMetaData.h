#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Api {

// Object metadata as the service stores it: a few standard headers and "x-goog-meta-" ones.
class GoogleMetaData
{
public:
    using HeaderMap = QMap<QByteArray, QByteArray>;

    static const QByteArray GoogleContentEncoding;
    static const QByteArray GoogleFilePermissions;
    static const QByteArray GoogleRealSize;
    static const QByteArray GoogleEncryptionHeader;
    static const QByteArray GoogleContentType;

    // The five known metadata keys as request headers; every other key is dropped.
    static HeaderMap header(const QMap<QString, QVariant>& metaData);
    // The known headers under their metadata keys, every other header under its own name.
    static QMap<QString, QVariant> fromHeader(const HeaderMap& responseHeaders);
};

} // namespace Norvik::Cloud::Api
