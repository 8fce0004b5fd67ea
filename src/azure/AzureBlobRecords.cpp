#include "azure/AzureBlobRecords.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDateTime>
#include <QDomDocument>
#include <QDomElement>
#include <QJsonObject>
#include <QLocale>
#include <QUrl>

namespace Norvik::Cloud::Api {

namespace {

constexpr int BlockIdLength = 64;

QString childText(const QDomElement& element, const char* name)
{
    return element.firstChildElement(QLatin1String(name)).text();
}

// The document of an answer that must be XML, or InvalidData with the logs.
QDomDocument documentOf(const QByteArray& body)
{
    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").warning() << "error on result content format:" << message;
        NorvikDebug("NKC").infoH() << "content:" << body;
        throw Exception::InvalidData(body);
    }
    return document;
}

// The text between open and close, searched from the start; empty when either is missing.
QString between(const QByteArray& body, const char* open, const char* close)
{
    const int begin = body.indexOf(open);
    if (begin < 0)
        return QString();
    const int from = begin + int(qstrlen(open));
    const int end = body.indexOf(close, from);
    return end < 0 ? QString() : QString::fromUtf8(body.mid(from, end - from));
}

} // namespace

UploudBlockId::UploudBlockId(quint64 partId, const QByteArray& hash)
    : partId(partId)
    , hash(hash)
{
}

UploudBlockId::UploudBlockId(const QByteArray& id)
{
    const QList<QByteArray> pieces = QByteArray::fromBase64(id).split('|');
    partId = pieces.value(0).toULongLong();
    hash = QByteArray::fromHex(pieces.value(1));
}

QByteArray UploudBlockId::operator()() const
{
    QString text = QStringLiteral("%1|%2|").arg(partId).arg(QString::fromLatin1(hash.toHex()));
    // A hash of 16 bytes leaves room for any part number; longer text is never cut, so that an
    // id always reads back to what it was made from.
    if (text.size() < BlockIdLength)
        text = text.leftJustified(BlockIdLength, QLatin1Char('0'));
    return text.toUtf8().toBase64();
}

QDateTime ListingObjectAzureBlob::parseDate(const QString& text)
{
    QDateTime date =
        QLocale(QLocale::English)
            .toDateTime(text.chopped(qMin(4, text.size())), QStringLiteral("ddd, dd MMM yyyy HH:mm:ss"));
    date.setTimeSpec(Qt::UTC);
    return date;
}

ListingObjectAzureBlob::ListingObjectAzureBlob(const QDomElement& blob)
{
    const QDomElement properties = blob.firstChildElement(QStringLiteral("Properties"));
    setName(childText(blob, "Name"));
    setSize(childText(properties, "Content-Length").toULongLong());
    setEtag(childText(properties, "Etag").toUtf8());
    const QDateTime date = parseDate(childText(properties, "Last-Modified"));
    if (date.isValid())
        setLastModified(date);
    setIsFolder(false);
}

ListingObjectAzureBlob::ListingObjectAzureBlob(const QString& prefix)
{
    setName(prefix);
    setSize(0);
    setIsFolder(true);
}

ListingObjectAzureBlob::ListingObjectAzureBlob(const QUrl& url, quint64 size, const HeaderMap& headers)
{
    setName(url.path(QUrl::FullyDecoded));
    setSize(size);
    if (headers.contains("etag"))
        setEtag(headers.value("ETag"));
    const QDateTime date = parseDate(QString::fromUtf8(headers.value("last-modified")));
    if (date.isValid())
        setLastModified(date);
    setIsFolder(false);
}

ListingObjectAzureBlob::ListingObjectAzureBlob(const QUrl& url, const HeaderMap& headers)
{
    setName(url.path(QUrl::FullyDecoded));
    setSize(0);
    setEtag(headers.value("etag"));
    const QDateTime date = parseDate(QString::fromUtf8(headers.value("last-modified")));
    if (date.isValid())
        setLastModified(date);
    setIsFolder(false);
}

MultipartListPartObjectAzureBlob::MultipartListPartObjectAzureBlob(const QDomElement& block)
{
    const UploudBlockId id(childText(block, "Name").toUtf8());
    setPartNumber(id.partId);
    setEtag(id.hash.toHex());
    setSize(childText(block, "Size").toULongLong());
}

namespace AzureBlobXml {

QMap<QString, QString> parseError(const QByteArray& body)
{
    QMap<QString, QString> elements;
    QDomDocument document;
    QString message;
    if (document.setContent(body, &message)) {
        const QDomElement error = document.firstChildElement(QStringLiteral("Error"));
        for (QDomElement e = error.firstChildElement(); !e.isNull(); e = e.nextSiblingElement())
            elements.insert(e.tagName(), e.firstChild().nodeValue());
        return elements;
    }
    // A front end's page instead of the service's document.
    const QString code = between(body, "<TITLE>", "</TITLE>");
    const QString text = between(body, "<p>", "</p>");
    if (code.isEmpty() || text.isEmpty()) {
        NorvikDebug("NKC").warning() << "Error on parce error message content:" << message;
        NorvikDebug("NKC").debug() << body;
        return elements;
    }
    elements.insert(QStringLiteral("Code"), code);
    elements.insert(QStringLiteral("Message"), text);
    return elements;
}

QJsonArray parseContainers(const QByteArray& body)
{
    const QDomDocument document = documentOf(body);
    const QDomElement containers = document.firstChildElement(QStringLiteral("EnumerationResults"))
                                       .firstChildElement(QStringLiteral("Containers"));
    QJsonArray result;
    for (QDomElement e = containers.firstChildElement(QStringLiteral("Container")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("Container")))
        result.append(QJsonObject{{QStringLiteral("Name"), childText(e, "Name")}});
    return result;
}

QJsonArray parseListing(const QByteArray& body, QString& marker)
{
    const QDomDocument document = documentOf(body);
    const QDomElement root = document.firstChildElement(QStringLiteral("EnumerationResults"));
    QJsonArray result;
    for (QDomElement e = root.firstChildElement(QStringLiteral("Blobs")).firstChildElement(); !e.isNull();
         e = e.nextSiblingElement()) {
        if (e.tagName() == QLatin1String("Blob"))
            result.append(ListingObjectAzureBlob(e).json());
        else if (e.tagName() == QLatin1String("BlobPrefix"))
            result.append(ListingObjectAzureBlob(childText(e, "Name")).json());
    }
    marker = childText(root, "NextMarker");
    return result;
}

QJsonArray parseBlockList(const QByteArray& body)
{
    const QDomDocument document = documentOf(body);
    const QDomElement root = document.firstChildElement(QStringLiteral("BlockList"));
    QJsonArray result;
    for (const char* group : {"CommittedBlocks", "UncommittedBlocks"}) {
        const QDomElement blocks = root.firstChildElement(QLatin1String(group));
        for (QDomElement e = blocks.firstChildElement(QStringLiteral("Block")); !e.isNull();
             e = e.nextSiblingElement(QStringLiteral("Block")))
            result.append(MultipartListPartObjectAzureBlob(e).json());
    }
    return result;
}

} // namespace AzureBlobXml

} // namespace Norvik::Cloud::Api
