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
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QSet>

#include <cstdio>
#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

using HeaderMap = QMap<QByteArray, QByteArray>;

// A property that does not hold is a crash of the target, which names the line of the check.
void checkAt(bool condition, int line)
{
    if (!condition) {
        std::fprintf(stderr, "%s:%d: property does not hold\n", __FILE__, line);
        std::abort();
    }
}
#define check(condition) checkAt((condition), __LINE__)

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

QString withLeadingSlash(const QString& name)
{
    return name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name;
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
    check(object.name() == withLeadingSlash(key));
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

void fuzzListBucketResultXml(const QByteArray& body, const QDomDocument& document, bool isXml,
                             const HeaderMap& headers)
{
    ParseListBucketResultXml parser(headers);
    const bool read = parses(parser, body);
    const QDomElement root = document.documentElement();
    check(read == (isXml && root.tagName() == QLatin1String("ListBucketResult")));
    if (!read)
        return;

    const QList<QDomElement> contents = children(root, "Contents");
    const QList<QDomElement> prefixes = children(root, "CommonPrefixes");
    check(parser.parseResult.size() == contents.size() + prefixes.size());
    // Objects first, then prefixes, each in the order of the document.
    for (int i = 0; i < contents.size(); ++i) {
        const ListingObject object(parser.parseResult.at(i).toObject());
        checkObject(object, childText(contents.at(i), "Key"));
        check(object.fileId() == headers.value("x-amz-version-id"));
    }
    for (int i = 0; i < prefixes.size(); ++i)
        check(ListingObject(parser.parseResult.at(contents.size() + i).toObject()).isFolder());

    check(parser.isTruncated == (childText(root, "IsTruncated") == QLatin1String("true")));
    checkMarker(parser, childText(root, "NextMarker"));
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
    const QJsonArray results = root.value(QLatin1String("results")).toArray();
    check(parser.parseResult.size() == results.size());
    check(parser.isTruncated == root.value(QLatin1String("truncated")).toBool());
    checkMarker(parser, parser.isTruncated ? root.value(QLatin1String("nextMarker")).toString() : QString());
}

void fuzzListVersionsResult(const QByteArray& body, const QDomDocument& document, bool isXml)
{
    ParseListVersionsResultXml parser;
    const bool read = parses(parser, body);
    const QDomElement root = document.documentElement();
    check(read == (isXml && root.tagName() == QLatin1String("ListVersionsResult")));
    if (!read)
        return;

    const QList<QDomElement> versions = children(root, "Version");
    const QList<QDomElement> prefixes = children(root, "CommonPrefixes");
    check(parser.parseResult.size() == versions.size() + prefixes.size());
    for (int i = 0; i < versions.size(); ++i) {
        const ListingObject object(parser.parseResult.at(i).toObject());
        checkObject(object, childText(versions.at(i), "Key"));
        check(object.fileId() == recordBytes(childText(versions.at(i), "VersionId")));
    }
    for (int i = 0; i < prefixes.size(); ++i)
        check(ListingObject(parser.parseResult.at(versions.size() + i).toObject()).isFolder());

    check(parser.isTruncated == (childText(root, "IsTruncated") == QLatin1String("true")));
    if (!parser.isTruncated) {
        check(parser.marker.isEmpty());
        return;
    }
    // The marker names the next key and version, or, when the page names neither, its last
    // entry; as the next request reads it back.
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
