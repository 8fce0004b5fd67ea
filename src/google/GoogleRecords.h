#pragma once

#include "connection/ListingObject.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QString>

class QDomElement;
class QUrl;

namespace Norvik::Cloud::Api {

// One entry of a bucket listing, or the record of an uploaded object.
class ListingObjectGoogle : public ListingObject
{
public:
    // A "Contents" element: a file. isFolder is kept for the caller's use and is false here.
    ListingObjectGoogle(const QDomElement& contents, bool isFolder);
    // A "CommonPrefixes" element: a folder.
    explicit ListingObjectGoogle(const QDomElement& commonPrefixes);
    // An object just written: its path, its size and the tag of the answer.
    ListingObjectGoogle(const QUrl& url, quint64 size, const QMap<QByteArray, QByteArray>& responseHeaders);
};

// Reading the service's XML answers. Every function but parseError throws
// Exception::InvalidData with the body when the answer is not the document it expects.
namespace GoogleXml {

// The children of "Error": tag name to text. Empty when the body is not XML.
QMap<QString, QString> parseError(const QByteArray& body);
// "ListAllMyBucketsResult": each bucket's "Name" and "CreationDate".
QJsonArray parseContainers(const QByteArray& body);
// "ListBucketResult": files first, then folders. marker receives "NextMarker" while the listing
// is truncated and is emptied at its end.
QJsonArray parseListing(const QByteArray& body, QString& marker);
// The "UploadId" of "InitiateMultipartUploadResult".
QByteArray parseUploadId(const QByteArray& body);
// The record of "CompleteMultipartUploadResult".
QJsonObject parseCompleteUpload(const QByteArray& body);

} // namespace GoogleXml

// Reading the answers of the OAuth token endpoints.
namespace GoogleJson {

struct TokenAnswer
{
    QJsonObject object;
    // The parser's complaint; empty when the answer is a JSON object.
    QString error;
};
TokenAnswer parseTokenAnswer(const QByteArray& body);

} // namespace GoogleJson

} // namespace Norvik::Cloud::Api
