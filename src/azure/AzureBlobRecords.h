#pragma once

// The records of the Azure Blob service: block ids, listing entries and blocks read from the
// service's XML answers, and the readers of those answers. Internal to the Azure connection;
// nothing here sends a request, so each reader can be exercised on any bytes.

#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"

#include <QByteArray>
#include <QJsonArray>
#include <QMap>
#include <QString>

class QDomElement;
class QUrl;

namespace Norvik::Cloud::Api {

// The id of one uncommitted block: the part number and the MD5 of the part's data, so that a
// restarted upload can tell which of its earlier blocks still hold the right data.
//
// On the wire: "<part>|<md5 hex>|" padded with "0" to 64 characters, in base64. The service
// wants every id of a blob to have the same length, which the padding gives.
class UploudBlockId
{
public:
    UploudBlockId(quint64 partId, const QByteArray& hash);
    // Reads a wire id back. Text that is not such an id gives part 0 and whatever the second
    // piece decodes to (usually nothing).
    explicit UploudBlockId(const QByteArray& id);

    QByteArray operator()() const;

    quint64 partId = 0;
    QByteArray hash;
};

// One entry of a listing, or the object that an upload made. Names are the service's blob
// names as they stand.
class ListingObjectAzureBlob : public ListingObject
{
public:
    using HeaderMap = QMap<QByteArray, QByteArray>;

    // From a "Blob" element of a listing page.
    explicit ListingObjectAzureBlob(const QDomElement& blob);
    // From the name of a "BlobPrefix": a folder.
    explicit ListingObjectAzureBlob(const QString& prefix);
    // A single upload's result. The tag is read under "ETag" from lower-case headers, so it
    // stays empty: results of single uploads have always looked so.
    ListingObjectAzureBlob(const QUrl& url, quint64 size, const HeaderMap& headers);
    // A block list's result: size 0, the tag and date of the answer.
    ListingObjectAzureBlob(const QUrl& url, const HeaderMap& headers);

    // The service's date form, "Tue, 14 Nov 2026 09:15:00 GMT", as UTC; invalid otherwise.
    static QDateTime parseDate(const QString& text);
};

// One block of a block list: the part number and hash that its id carries, and its size.
class MultipartListPartObjectAzureBlob : public MultipartListPartObject
{
public:
    explicit MultipartListPartObjectAzureBlob(const QDomElement& block);
};

// The readers of the service's answers. Those that return records throw
// Exception::InvalidData with the body when it is not XML.
namespace AzureBlobXml {

// The children of the "Error" element: tag name to text. An HTML page of a proxy gives its
// title as "Code" and its first paragraph as "Message". Empty when neither form fits.
QMap<QString, QString> parseError(const QByteArray& body);

// {"Name": ...} for each "Container" of a container listing.
QJsonArray parseContainers(const QByteArray& body);

// The records of a blob listing page, files and folders in document order; marker receives
// the page's "NextMarker", empty at the last page.
QJsonArray parseListing(const QByteArray& body, QString& marker);

// The blocks of a block list: committed ones first, then uncommitted ones.
QJsonArray parseBlockList(const QByteArray& body);

} // namespace AzureBlobXml

} // namespace Norvik::Cloud::Api
