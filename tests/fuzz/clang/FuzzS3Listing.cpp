// Listing pages of S3 services: the XML and JSON forms of a bucket listing, the version
// listing, and the marker that carries a version listing's position from page to page (which
// comes back from the caller as text). A page that cannot be read throws InvalidData and
// nothing else; a page that reads gives one record per entry of the document, each with the
// name, folder flag, size, tag, date and version that the entry says, and a marker that points
// after the page.
#include "s3/AmazonS3LikeRecords.h"

#include "FuzzSupport.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>

#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace Norvik::Cloud::Api;

namespace {

using HeaderMap = QMap<QByteArray, QByteArray>;

// A property that does not hold is a crash of the target, which names the line of the check.
#define check(condition)                                                                                     \
    ((condition)                                                                                             \
         ? void()                                                                                            \
         : (std::fprintf(stderr, "%s:%d: property does not hold\n", __FILE__, __LINE__), std::abort()))

// The byte strings of the records (tags, version ids) keep the element's text up to a NUL
// character, which no XML document holds but a lenient reader may pass on.
QByteArray recordBytes(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    const int end = bytes.indexOf('\0');
    return end < 0 ? bytes : bytes.left(end);
}

QString childText(const QDomElement& element, const char* name)
{
    return element.firstChildElement(QLatin1String(name)).text();
}

QList<QDomElement> children(const QDomElement& root, const char* name)
{
    QList<QDomElement> found;
    for (QDomElement e = root.firstChildElement(QLatin1String(name)); !e.isNull();
         e = e.nextSiblingElement(QLatin1String(name)))
        found.append(e);
    return found;
}

QString chopOneSlash(QString key)
{
    if (key.endsWith(QLatin1Char('/')))
        key.chop(1);
    return key;
}

// Parses body; false when the parser refused it, which it may only do with InvalidData that
// carries the body, leaving nothing behind.
bool parses(ParseListBucketResult& parser, const QByteArray& body)
{
    try {
        parser.parse(body);
    } catch (const Exception::InvalidData& e) {
        check(e.data() == body);
        check(!parser.ok);
        check(parser.parseResult.isEmpty());
        return false;
    }
    check(parser.ok);
    return true;
}

// An object record: its name is never empty, always begins with "/", and is a folder's name
// exactly when it ends with "/".
void checkObject(const ListingObject& object, const QString& key)
{
    check(!object.name().isEmpty());
    check(object.name() == (key.startsWith(QLatin1Char('/')) ? key : QLatin1Char('/') + key));
    check(object.isFolder() == object.name().endsWith(QLatin1Char('/')));
}

// The marker of a bucket listing page: the next marker the page names, else its last entry.
void checkMarker(const ParseListBucketResult& parser, const QString& named)
{
    if (!parser.isTruncated)
        check(parser.marker.isEmpty());
    else if (!named.isEmpty())
        check(parser.marker == named);
    else if (parser.parseResult.isEmpty())
        check(parser.marker.isEmpty());
    else
        check(parser.marker == ListingObject(parser.parseResult.last().toObject()).name());
}

// The records of an XML page: objects (of entryName) first, then prefixes, each in the order
// of the document; true when the page was read.
template <typename Parser>
bool checkXmlPage(Parser& parser, const QByteArray& body, const QDomDocument& document, bool isXml,
                  const char* rootName, const char* entryName,
                  const std::function<QByteArray(const QDomElement&)>& id)
{
    const bool read = parses(parser, body);
    const QDomElement root = document.documentElement();
    check(read == (isXml && root.tagName() == QLatin1String(rootName)));
    if (!read)
        return false;
    const QList<QDomElement> entries = children(root, entryName);
    const QList<QDomElement> prefixes = children(root, "CommonPrefixes");
    check(parser.parseResult.size() == entries.size() + prefixes.size());
    for (int i = 0; i < entries.size(); ++i) {
        const ListingObject object(parser.parseResult.at(i).toObject());
        checkObject(object, childText(entries.at(i), "Key"));
        check(object.fileId() == id(entries.at(i)));
    }
    for (int i = 0; i < prefixes.size(); ++i)
        check(ListingObject(parser.parseResult.at(entries.size() + i).toObject()).isFolder());
    check(parser.isTruncated == (childText(root, "IsTruncated") == QLatin1String("true")));
    return true;
}

void fuzzListBucketResultXml(const QByteArray& body, const QDomDocument& document, bool isXml,
                             const HeaderMap& headers)
{
    ParseListBucketResultXml parser(headers);
    const QByteArray version = headers.value("x-amz-version-id");
    if (checkXmlPage(parser, body, document, isXml, "ListBucketResult", "Contents",
                     [&](const QDomElement&) { return version; }))
        checkMarker(parser, childText(document.documentElement(), "NextMarker"));
}

void fuzzListBucketResultJson(const QByteArray& body)
{
    ParseListBucketResultJson parser;
    const bool read = parses(parser, body);
    const QJsonDocument document = QJsonDocument::fromJson(body);
    check(read == document.isObject());
    if (!read)
        return;
    const QJsonObject root = document.object();
    check(parser.parseResult.size() == root.value(QLatin1String("results")).toArray().size());
    check(parser.isTruncated == root.value(QLatin1String("truncated")).toBool());
    checkMarker(parser, parser.isTruncated ? root.value(QLatin1String("nextMarker")).toString() : QString());
}

void fuzzListVersionsResult(const QByteArray& body, const QDomDocument& document, bool isXml)
{
    ParseListVersionsResultXml parser;
    if (!checkXmlPage(parser, body, document, isXml, "ListVersionsResult", "Version",
                      [](const QDomElement& e) { return recordBytes(childText(e, "VersionId")); }))
        return;
    if (!parser.isTruncated) {
        check(parser.marker.isEmpty());
        return;
    }
    // The marker names the next key and version, or, when the page names neither, its last
    // entry; as the next request reads it back.
    const QDomElement root = document.documentElement();
    QString key = childText(root, "NextKeyMarker");
    QString versionId = childText(root, "NextVersionIdMarker");
    if (key.isEmpty() && versionId.isEmpty() && !parser.parseResult.isEmpty()) {
        const ListingObject last(parser.parseResult.last().toObject());
        key = last.name().mid(last.name().startsWith(QLatin1Char('/')) ? 1 : 0);
        versionId = QString::fromUtf8(last.fileId());
    }
    const ListingMarker position(parser.marker);
    check(QJsonDocument::fromJson(parser.marker.toUtf8()).isObject());
    check(position.key() == chopOneSlash(key));
    check(position.versionId() == versionId);
}

// The marker comes back from the caller: whatever it holds, it reads to a key and a version
// that write to a marker that reads the same.
void fuzzListingMarker(const QByteArray& bytes)
{
    const ListingMarker marker(QString::fromUtf8(bytes));
    const QString written = marker.toMarker();
    check(QJsonDocument::fromJson(written.toUtf8()).isObject());
    const ListingMarker again(written);
    check(again.key() == chopOneSlash(marker.key()));
    check(again.versionId() == marker.versionId());
    if (!marker.key().endsWith(QLatin1Char('/')))
        check(again.toMarker() == written);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Off);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QDomDocument document;
    const bool isXml = document.setContent(body);

    fuzzListBucketResultXml(body, document, isXml, {});
    fuzzListBucketResultXml(body, document, isXml, {{"x-amz-version-id", "3HL4kqtJlcpXroDTDmjVBH40Nrjfkd"}});
    if (!hasDuplicateMember(body))
        fuzzListBucketResultJson(body);
    fuzzListVersionsResult(body, document, isXml);
    if (!hasDuplicateMember(QString::fromUtf8(body).toUtf8()))
        fuzzListingMarker(body);
    return 0;
}
