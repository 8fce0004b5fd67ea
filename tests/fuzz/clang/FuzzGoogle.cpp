// The answers of Google Cloud Storage and its token endpoints: error documents, bucket lists,
// listing pages, multipart results and the JSON of token answers. A body that is not XML throws
// InvalidData carrying it (the error reader answers an empty map instead); one that is gives one
// record per element. A token answer is an object or a complaint, never both.
#include "google/GoogleRecords.h"

#include "FuzzSupport.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>
#include <QJsonDocument>
#include <QSet>

#include <cstdlib>
#include <functional>

using namespace Norvik::Cloud::Api;

namespace {

bool reads(const QByteArray& body, bool isXml, const std::function<void()>& reader)
{
    try {
        reader();
    } catch (const Exception::InvalidData& e) {
        check(!isXml && e.data() == body);
        return false;
    }
    check(isXml);
    return true;
}

void fuzzError(const QByteArray& body, const QDomDocument& document, bool isXml)
{
    const QMap<QString, QString> error = GoogleXml::parseError(body);
    QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String("Error"))
        root = root.firstChildElement(QStringLiteral("Error"));
    QSet<QString> tags;
    for (QDomElement e = root.firstChildElement(); isXml && !e.isNull(); e = e.nextSiblingElement())
        tags.insert(e.tagName());
    check(QSet<QString>(error.keyBegin(), error.keyEnd()) == tags);
}

void fuzzListing(const QByteArray& body, const QDomDocument& document, bool isXml)
{
    QJsonArray page;
    QString marker = QStringLiteral("before");
    if (!reads(body, isXml, [&] { page = GoogleXml::parseListing(body, marker); }))
        return;
    const QDomElement root = document.firstChildElement(QStringLiteral("ListBucketResult"));
    const bool truncated =
        root.firstChildElement(QStringLiteral("IsTruncated")).text() == QLatin1String("true");
    check(marker == (truncated ? root.firstChildElement(QStringLiteral("NextMarker")).text() : QString()));
    int index = 0;
    for (const QString tag : {"Contents", "CommonPrefixes"}) {
        for (QDomElement e = root.firstChildElement(tag); !e.isNull(); e = e.nextSiblingElement(tag)) {
            check(index < page.size());
            const ListingObject record(page.at(index++).toObject());
            check(record.isFolder() == (tag == QLatin1String("CommonPrefixes")));
            check(record.isFolder() ||
                  (record.name().startsWith(QLatin1Char('/')) &&
                   record.name().endsWith(e.firstChildElement(QStringLiteral("Key")).text())));
        }
    }
    check(index == page.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QDomDocument document;
    const bool isXml = document.setContent(body);
    fuzzError(body, document, isXml);
    fuzzListing(body, document, isXml);
    reads(body, isXml, [&] { GoogleXml::parseContainers(body); });
    QByteArray id;
    if (reads(body, isXml, [&] { id = GoogleXml::parseUploadId(body); }))
        check(id == document.firstChildElement(QStringLiteral("InitiateMultipartUploadResult"))
                        .firstChildElement(QStringLiteral("UploadId"))
                        .text()
                        .toUtf8());
    reads(body, isXml, [&] { GoogleXml::parseCompleteUpload(body); });
    if (hasDuplicateMember(body))
        return 0;
    const GoogleJson::TokenAnswer answer = GoogleJson::parseTokenAnswer(body);
    check(answer.error.isEmpty() ? QJsonDocument::fromJson(body).object() == answer.object
                                 : answer.object.isEmpty());
    return 0;
}
