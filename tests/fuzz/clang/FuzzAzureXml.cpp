// The answers of the Azure Blob service: error documents (and the HTML pages of front ends),
// container listings, blob listing pages, block lists, and the block ids inside them. A body
// that is not XML throws InvalidData carrying it and nothing else; one that is gives exactly
// one record per element of the document.
#include "FuzzSupport.h"
#include "azure/AzureBlobRecords.h"

#include "connection/Exception.h"
#include "connection/ListingObject.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QDomElement>
#include <QSet>

#include <cstdlib>
#include <functional>

using namespace Norvik::Cloud::Api;

namespace {

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
        check(!isXml && e.data() == body);
        return false;
    }
    check(isXml);
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<int>(size));
    QDomDocument document;
    const bool isXml = document.setContent(body);
    const QMap<QString, QString> error = AzureBlobXml::parseError(body);
    if (isXml) {
        QSet<QString> tags;
        for (QDomElement e = document.firstChildElement(QStringLiteral("Error")).firstChildElement();
             !e.isNull(); e = e.nextSiblingElement())
            tags.insert(e.tagName());
        check(QSet<QString>(error.keyBegin(), error.keyEnd()) == tags);
    }

    const QDomElement results = document.firstChildElement(QStringLiteral("EnumerationResults"));
    QJsonArray records;
    reads(body, isXml, [&] { records = AzureBlobXml::parseContainers(body); });
    QString marker = QStringLiteral("before");
    if (reads(body, isXml, [&] { records = AzureBlobXml::parseListing(body, marker); })) {
        check(marker == results.firstChildElement(QStringLiteral("NextMarker")).text());
        int index = 0;
        for (QDomElement e = results.firstChildElement(QStringLiteral("Blobs")).firstChildElement();
             !e.isNull(); e = e.nextSiblingElement()) {
            const bool folder = e.tagName() == QLatin1String("BlobPrefix");
            if (!folder && e.tagName() != QLatin1String("Blob"))
                continue;
            check(index < records.size());
            const ListingObject record(records.at(index++).toObject());
            check(record.isFolder() == folder &&
                  record.name() == e.firstChildElement(QStringLiteral("Name")).text());
        }
        check(index == records.size());
    }
    if (reads(body, isXml, [&] { records = AzureBlobXml::parseBlockList(body); })) {
        const QDomElement root = document.firstChildElement(QStringLiteral("BlockList"));
        check(records.size() ==
              countChildren(root.firstChildElement(QStringLiteral("CommittedBlocks")), "Block") +
                  countChildren(root.firstChildElement(QStringLiteral("UncommittedBlocks")), "Block"));
    }
    // Whatever an id holds, the part and hash it reads to make an id that reads to them again.
    const UploudBlockId read(body);
    const UploudBlockId again(UploudBlockId(read.partId, read.hash)());
    check(again.partId == read.partId && again.hash == read.hash);
    return 0;
}
