// Listing pages of S3 services: the XML and JSON forms of a bucket listing, the version
// listing, and the marker that carries a version listing's position from page to page (which
// comes back from the caller as text). A page that cannot be read throws InvalidData and
// nothing else; a page that reads gives one record per entry of the document, a folder's
// and no marker unless it is truncated.
#include "s3/AmazonS3LikeRecords.h"

#include "FuzzSupport.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

int countChildren(const QDomElement& root, const char* name)
{
    int count = 0;
    for (QDomElement e = root.firstChildElement(QLatin1String(name)); !e.isNull();
         e = e.nextSiblingElement(QLatin1String(name)))
        ++count;
    return count;
}

// Parses body; whether the parser read it must be expected. A refusal is InvalidData that
// carries the body and leaves nothing behind; a page read has one record per entry.
void checkPage(ParseListBucketResult& parser, const QByteArray& body, bool expected, int entries)
{
    try {
        parser.parse(body);
    } catch (const Exception::InvalidData& e) {
        check(!expected && e.data() == body && !parser.ok && parser.parseResult.isEmpty());
        return;
    }
    check(expected && parser.ok);
    check(entries < 0 || parser.parseResult.size() == entries);
    if (!parser.isTruncated)
        check(parser.marker.isEmpty());
}

void checkXmlPage(ParseListBucketResult&& parser, const QByteArray& body, const QDomDocument& document,
                  bool isXml, const char* rootName, const char* entryName)
{
    const QDomElement root = document.documentElement();
    const bool expected = isXml && root.tagName() == QLatin1String(rootName);
    checkPage(parser, body, expected,
              expected ? countChildren(root, entryName) + countChildren(root, "CommonPrefixes") : 0);
}

// The marker comes back from the caller: whatever it holds, it reads to a key and a version
// that write to a marker that reads the same.
void fuzzListingMarker(const QByteArray& bytes)
{
    const ListingMarker marker(QString::fromUtf8(bytes));
    const QString written = marker.toMarker();
    check(QJsonDocument::fromJson(written.toUtf8()).isObject());
    const ListingMarker again(written);
    check(again.versionId() == marker.versionId());
    if (!marker.key().endsWith(QLatin1Char('/')))
        check(again.key() == marker.key() && again.toMarker() == written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QDomDocument document;
    const bool isXml = document.setContent(body);

    checkXmlPage(ParseListBucketResultXml(
                     QMap<QByteArray, QByteArray>{{"x-amz-version-id", "3HL4kqtJlcpXroDTDmjVBH40Nrjfkd"}}),
                 body, document, isXml, "ListBucketResult", "Contents");
    checkXmlPage(ParseListVersionsResultXml(), body, document, isXml, "ListVersionsResult", "Version");
    if (!hasDuplicateMember(body)) {
        ParseListBucketResultJson json;
        const QJsonDocument parsed = QJsonDocument::fromJson(body);
        checkPage(json, body, parsed.isObject(),
                  parsed.object().value(QLatin1String("results")).toArray().size());
    }
    if (!hasDuplicateMember(QString::fromUtf8(body).toUtf8()))
        fuzzListingMarker(body);
    return 0;
}
