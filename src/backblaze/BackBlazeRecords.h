#pragma once

#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace Norvik::Cloud::Api {

// A B2 call needs a bucket's id, a download path its name, and the rest of the system knows one
// container string: it holds both, as "name|id".
class BackBlazeBucket
{
public:
    // Splits at "|", keeping empty parts: the first part is the name, the second the id.
    explicit BackBlazeBucket(const QString& container);
    BackBlazeBucket(const QString& name, const QString& id);

    QString container() const;
    const QString& name() const { return m_name; }
    const QString& id() const { return m_id; }

private:
    QString m_name;
    QString m_id;
};

// The JSON error document of a failed call, parsed once. A body that is not JSON is logged and
// thrown as Exception::InvalidData.
class BackBlazeError
{
public:
    explicit BackBlazeError(const QByteArray& body);

    const QString& code() const { return m_code; }
    const QString& message() const { return m_message; }

private:
    QString m_code;
    QString m_message;
};

// A file object of the service as a listing entry: "fileName", "contentSha1" as the tag,
// "contentLength", "uploadTimestamp" (milliseconds, UTC), "action" ("folder" marks a folder)
// and "fileId".
class ListingObjectBackBlaze : public ListingObject
{
public:
    explicit ListingObjectBackBlaze(const QJsonObject& file);
    // Wraps an entry that is already in listing form.
    ListingObjectBackBlaze(const QJsonObject& object, bool listingForm);
};

// One part of a large file: "partNumber", "contentLength" and "contentSha1" as the tag.
class MultipartListPartObjectBackBlaze : public MultipartListPartObject
{
public:
    explicit MultipartListPartObjectBackBlaze(const QJsonObject& part);
};

} // namespace Norvik::Cloud::Api
