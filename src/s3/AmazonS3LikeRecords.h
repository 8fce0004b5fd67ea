#pragma once

// The records of the S3 dialect: listing entries, parts and delete failures read from the
// service's documents, the listing marker, and the parsers of listing pages. Internal to the
// S3 connections.

#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"
#include "connection/MultipleDeleteErrorObject.h"

#include <QByteArray>
#include <QJsonArray>
#include <QMap>
#include <QString>

class QDomElement;
class QJsonObject;
class QUrl;

namespace Norvik::Cloud::Api {

// One entry of an object listing, or the result of an upload. Object names always carry a
// leading "/"; names of common prefixes are taken as they stand.
class ListingObjectAmazon : public ListingObject
{
public:
    using HeaderMap = QMap<QByteArray, QByteArray>;

    // From a "Contents" element; the version id, if any, from the response headers.
    ListingObjectAmazon(const QDomElement& contents, const HeaderMap& headers);
    // From a "CommonPrefixes" element: a folder.
    explicit ListingObjectAmazon(const QDomElement& commonPrefixes);
    // The object that an upload made: its key, size and the response headers.
    ListingObjectAmazon(const QUrl& url, quint64 size, const HeaderMap& headers);
};

// One entry of a listing that the service answered in JSON.
class ListingObjectAmazonJson : public ListingObject
{
public:
    explicit ListingObjectAmazonJson(const QJsonObject& object);
};

// One version of an object in a version listing, or a common prefix of one.
class ListingVersionObject : public ListingObject
{
public:
    // From a "Version" element, or from a "CommonPrefixes" element when commonPrefixes is true.
    explicit ListingVersionObject(const QDomElement& element, bool commonPrefixes = false);
};

class MultipartListPartObjectAmazon : public MultipartListPartObject
{
public:
    // From a "Part" element of a part listing.
    explicit MultipartListPartObjectAmazon(const QDomElement& part);
};

class AmazonS3MultipleDeleteErrorObject : public MultipleDeleteErrorObject
{
public:
    // From an "Error" element of a multiple delete's result.
    explicit AmazonS3MultipleDeleteErrorObject(const QDomElement& error);
};

// The position in a version listing, carried through the single marker string of a listing
// as compact JSON: {"k": key, "v": version id}, each member only when it is not empty.
class ListingMarker
{
public:
    ListingMarker(const QString& key, const QString& versionId);
    // Text that is not a JSON object gives an empty key and version id. One trailing "/" is
    // chopped off the key.
    explicit ListingMarker(const QString& marker);

    QString toMarker() const;
    const QString& key() const { return m_key; }
    const QString& versionId() const { return m_versionId; }

private:
    QString m_key;
    QString m_versionId;
};

// One page of a listing: the entries, whether more follow, and where the next page begins.
// A body that cannot be read throws Exception::InvalidData.
class ParseListBucketResult
{
public:
    virtual ~ParseListBucketResult();
    virtual void parse(const QByteArray& body) = 0;

    bool ok = false;
    bool isTruncated = false;
    QString marker;
    QJsonArray parseResult;

protected:
    // When a truncated page names no next marker, the next page begins after its last entry.
    void takeMarkerFromLastEntry();
};

// A "ListBucketResult" document. Objects come first, then common prefixes, each group in the
// order of the document.
class ParseListBucketResultXml : public ParseListBucketResult
{
public:
    explicit ParseListBucketResultXml(const QMap<QByteArray, QByteArray>& headers = {});
    void parse(const QByteArray& body) override;

private:
    QMap<QByteArray, QByteArray> m_headers;
};

// The JSON form of a listing page: "truncated", "nextMarker" and "results".
class ParseListBucketResultJson : public ParseListBucketResult
{
public:
    void parse(const QByteArray& body) override;
};

// A "ListVersionsResult" document: versions, then common prefixes. Delete markers are not read.
// The marker is a ListingMarker.
class ParseListVersionsResultXml : public ParseListBucketResult
{
public:
    void parse(const QByteArray& body) override;
};

} // namespace Norvik::Cloud::Api
