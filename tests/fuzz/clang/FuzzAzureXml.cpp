// The answers of the Azure Blob service: error documents (and the HTML pages of front ends),
// container listings, blob listing pages, block lists, and the block ids inside them. A body
// that is not XML throws InvalidData carrying it and nothing else; one that is gives exactly
// one record per element of the document, as the element says.
#include "azure/AzureBlobRecords.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>
#include <QJsonObject>
#include <QSet>

#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace Norvik::Cloud::Api;

namespace {

void checkAt(bool condition, int line)
{
    if (!condition) {
        std::fprintf(stderr, "%s:%d: property does not hold\n", __FILE__, line);
        std::abort();
    }
}
#define check(condition) checkAt((condition), __LINE__)

int countChildren(const QDomElement& parent, const char* name)
{
    int count = 0;
    for (QDomElement e = parent.firstChildElement(QLatin1String(name)); !e.isNull();
         e = e.nextSiblingElement(QLatin1String(name)))
        ++count;
    return count;
}

// Runs a reader that must refuse exactly the bodies that are not XML.
bool reads(const QByteArray& body, bool isXml, const std::function<void()>& reader)
{
    try {
        reader();
    } catch (const Exception::InvalidData& e) {
        check(!isXml);
        check(e.data() == body);
        return false;
    }
    check(isXml);
    return true;
}

void fuzzError(const QByteArray& body, const QDomDocument& document, bool isXml)
{
    const QMap<QString, QString> error = AzureBlobXml::parseError(body);
    if (isXml) {
        QSet<QString> tags;
        for (QDomElement e = document.firstChildElement(QStringLiteral("Error")).firstChildElement();
             !e.isNull(); e = e.nextSiblingElement())
            tags.insert(e.tagName());
        check(QSet<QString>(error.keyBegin(), error.keyEnd()) == tags);
    } else if (!error.isEmpty()) {
        check(error.size() == 2);
        check(!error.value(QStringLiteral("Code")).isEmpty() &&
              !error.value(QStringLiteral("Message")).isEmpty());
    }
}

void fuzzListings(const QByteArray& body, const QDomDocument& document, bool isXml)
{
    QJsonArray containers;
    if (reads(body, isXml, [&] { containers = AzureBlobXml::parseContainers(body); }))
        check(containers.size() ==
              countChildren(document.firstChildElement(QStringLiteral("EnumerationResults"))
                                .firstChildElement(QStringLiteral("Containers")),
                            "Container"));

    QJsonArray page;
    QString marker = QStringLiteral("before");
    if (!reads(body, isXml, [&] { page = AzureBlobXml::parseListing(body, marker); }))
        return;
    const QDomElement root = document.firstChildElement(QStringLiteral("EnumerationResults"));
    check(marker == root.firstChildElement(QStringLiteral("NextMarker")).text());
    int index = 0;
    for (QDomElement e = root.firstChildElement(QStringLiteral("Blobs")).firstChildElement(); !e.isNull();
         e = e.nextSiblingElement()) {
        const bool folder = e.tagName() == QLatin1String("BlobPrefix");
        if (!folder && e.tagName() != QLatin1String("Blob"))
            continue;
        check(index < page.size());
        const ListingObject record(page.at(index++).toObject());
        check(record.isFolder() == folder);
        check(record.name() == e.firstChildElement(QStringLiteral("Name")).text());
    }
    check(index == page.size());
}

void fuzzBlockList(const QByteArray& body, const QDomDocument& document, bool isXml)
{
    QJsonArray blocks;
    if (!reads(body, isXml, [&] { blocks = AzureBlobXml::parseBlockList(body); }))
        return;
    const QDomElement root = document.firstChildElement(QStringLiteral("BlockList"));
    check(blocks.size() ==
          countChildren(root.firstChildElement(QStringLiteral("CommittedBlocks")), "Block") +
              countChildren(root.firstChildElement(QStringLiteral("UncommittedBlocks")), "Block"));
    for (const QJsonValue& value : blocks) {
        const QByteArray tag = MultipartListPartObject(value.toObject()).eTag();
        check(QByteArray::fromHex(tag).toHex() == tag);
    }
}

// Whatever an id holds, the part and hash it reads to make an id that reads to them again.
void fuzzBlockId(const QByteArray& bytes)
{
    const UploudBlockId read(bytes);
    const UploudBlockId again(UploudBlockId(read.partId, read.hash)());
    check(again.partId == read.partId);
    check(again.hash == read.hash);
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
    fuzzError(body, document, isXml);
    fuzzListings(body, document, isXml);
    fuzzBlockList(body, document, isXml);
    fuzzBlockId(body);
    return 0;
}
