// Answers of the B2 service reach the connection as they come: error documents, file and part
// objects, listing pages, download headers. Reading them must never crash; an error answer
// always ends in one of the library's exceptions, and the B2 classes that clients act upon
// always carry their error record.
#include "backblaze/BackBlazeMetaData.h"
#include "backblaze/BackBlazeRecords.h"
#include "backblaze/CloudBackBlazePrivate.h"

#include "connection/CloudError.h"
#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"

#include "FuzzSupport.h"

#include <NorvikCore/NorvikDebug.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

void mapError(bool forbidden, const QByteArray& body)
{
    try {
        if (forbidden)
            CloudBackBlazePrivate::throwForbidden(403, body);
        CloudBackBlazePrivate::throwBadRequest(400, body);
    } catch (const Exception::BackBlaze::PathContainsIllegalSymbols& e) {
        check(!forbidden && e.cloudError());
    } catch (const Exception::BackBlaze::FileNotPresent& e) {
        check(!forbidden && e.cloudError());
    } catch (const Exception::InvalidData& e) {
        check(e.data() == body);
    } catch (const Exception::Operation& e) {
        check(e.code() == 400 || e.code() == 403);
    }
}

void readObjects(const QJsonObject& answer)
{
    const ListingObjectBackBlaze file(answer);
    check(file.name() == answer.value(QStringLiteral("fileName")).toString());
    check(file.isFolder() == (answer.value(QStringLiteral("action")).toString() == QLatin1String("folder")));
    MultipartListPartObjectBackBlaze part(answer);
    // The tag of a part travels as the JSON text of its record and is read back from it.
    const QByteArray tag = QJsonDocument(part.json()).toJson(QJsonDocument::Compact);
    check(MultipartListPartObject(QJsonDocument::fromJson(tag).object()).eTag() == part.eTag());
    for (const QJsonValue& entry : answer.value(QStringLiteral("files")).toArray())
        ListingObjectBackBlaze listed(entry.toObject());
    const BackBlazeBucket bucket(answer.value(QStringLiteral("bucketName")).toString());
    check(BackBlazeBucket(bucket.container()).name() == bucket.name());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray body(reinterpret_cast<const char*>(data) + 1, static_cast<int>(size - 1));
    // Qt's reader leaks on a repeated member name (see FuzzSupport.h).
    if (!hasDuplicateMember(body)) {
        mapError(data[0] & 1, body);
        const QJsonDocument document = QJsonDocument::fromJson(body);
        if (document.isObject())
            readObjects(document.object());
    }

    // The same bytes as download headers, one "name: value" per line.
    BackBlazeMetaData::HeaderMap headers;
    for (const QByteArray& line : body.split('\n')) {
        const int colon = line.indexOf(':');
        if (colon > 0)
            headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
    }
    const QMap<QString, QVariant> metaData = BackBlazeMetaData::fromHeader(headers);
    // What we read back we write in a form that reads back the same.
    BackBlazeMetaData::HeaderMap written;
    for (const auto& key : BackBlazeMetaData::header({}, metaData).keys())
        written.insert(key.toLower(), BackBlazeMetaData::header({}, metaData).value(key));
    const QMap<QString, QVariant> again = BackBlazeMetaData::fromHeader(written);
    for (const QString& key : {CloudFileMetaData::FilePermissions, CloudFileMetaData::RealSize,
                               CloudFileMetaData::EncryptionHeader})
        check(again.value(key) == metaData.value(key));
    return 0;
}
