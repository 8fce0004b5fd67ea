#pragma once

#include "connection/CloudHttpPrivate.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"

#include <QJsonObject>

namespace Norvik::Cloud::Api {

// One entry of a Swift listing, or the object just written. Names begin with "/", as the
// application's paths do.
class ListingObjectOpenStack : public ListingObject
{
public:
    // From a JSON listing: a "subdir" entry is a folder; others carry "name", "bytes",
    // "hash" and "last_modified" (UTC without a zone).
    explicit ListingObjectOpenStack(const QJsonObject& entry);
    // The object of an upload: its path, size and the "etag" of the answer.
    ListingObjectOpenStack(const QString& path, quint64 size,
                           const CloudHttp::CloudHttpPrivate::HeaderMap& headers);
};

class MultipartListPartObjectOpenStack : public MultipartListPartObject
{
public:
    MultipartListPartObjectOpenStack(quint64 size, quint64 partNumber, const QByteArray& eTag);
};

} // namespace Norvik::Cloud::Api
