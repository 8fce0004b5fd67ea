#include "s3/AmazonS3LikeRecords.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDateTime>
#include <QDomDocument>
#include <QDomElement>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QUrl>

namespace Norvik::Cloud::Api {

namespace {

QString childText(const QDomElement& element, const char* name)
{
    return element.firstChildElement(QLatin1String(name)).text();
}

bool hasChild(const QDomElement& element, const char* name)
{
    return !element.firstChildElement(QLatin1String(name)).isNull();
}

QString withLeadingSlash(const QString& name)
{
    return name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name;
}

QDateTime utcDate(const QString& text)
{
    QDateTime date = QDateTime::fromString(text, Qt::ISODate);
    date.setTimeSpec(Qt::UTC);
    return date;
}

// Name, folder flag, size, tag and date of an object element ("Contents" or "Version").
void readObject(ListingObject& object, const QDomElement& element)
{
    const QString name = withLeadingSlash(childText(element, "Key"));
    object.setName(name);
    object.setIsFolder(name.endsWith(QLatin1Char('/')));
    if (hasChild(element, "Size"))
        object.setSize(childText(element, "Size").toULongLong());
    if (hasChild(element, "ETag"))
        object.setEtag(childText(element, "ETag").toUtf8());
    if (hasChild(element, "LastModified"))
        object.setLastModified(utcDate(childText(element, "LastModified")));
}

void readCommonPrefix(ListingObject& object, const QDomElement& element)
{
    object.setName(childText(element, "Prefix"));
    object.setIsFolder(true);
}

// The root element of an XML listing page, or an InvalidData exception with the logs.
QDomElement rootOf(const QByteArray& body, const char* parser, const char* rootName)
{
    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").warning() << QStringLiteral(
                                            "CloudAmazonS3Like::%1: error on result content format:")
                                            .arg(QLatin1String(parser))
                                     << message;
        NorvikDebug("NKC").infoH()
            << QStringLiteral("CloudAmazonS3Like::%1: content:").arg(QLatin1String(parser)) << body;
        throw Exception::InvalidData(body);
    }
    // Another document (an error page that came with a success status) is not an empty page.
    const QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String(rootName)) {
        NorvikDebug("NKC").warning()
            << QStringLiteral("CloudAmazonS3Like::%1: unexpected document:").arg(QLatin1String(parser))
            << root.tagName();
        NorvikDebug("NKC").infoH()
            << QStringLiteral("CloudAmazonS3Like::%1: content:").arg(QLatin1String(parser)) << body;
        throw Exception::InvalidData(body);
    }
    return root;
}

bool truncated(const QDomElement& root)
{
    return childText(root, "IsTruncated") == QLatin1String("true");
}

} // namespace

// --- Records --------------------------------------------------------------------------------

ListingObjectAmazon::ListingObjectAmazon(const QDomElement& contents, const HeaderMap& headers)
{
    readObject(*this, contents);
    const QByteArray versionId = headers.value("x-amz-version-id");
    if (!versionId.isEmpty())
        setFileId(versionId);
}

ListingObjectAmazon::ListingObjectAmazon(const QDomElement& commonPrefixes)
{
    readCommonPrefix(*this, commonPrefixes);
}

ListingObjectAmazon::ListingObjectAmazon(const QUrl& url, quint64 size, const HeaderMap& headers)
{
    // The key as it was given, whatever characters a URL would have to encode.
    setName(url.path(QUrl::FullyDecoded));
    setSize(size);
    setIsFolder(false);
    if (headers.contains("etag"))
        setEtag(headers.value("etag"));
    const QByteArray versionId = headers.value("x-amz-version-id");
    if (!versionId.isEmpty())
        setFileId(versionId);
}

ListingObjectAmazonJson::ListingObjectAmazonJson(const QJsonObject& object)
{
    const QString name = withLeadingSlash(object.value(QLatin1String("key")).toString());
    setName(name);
    setIsFolder(name.endsWith(QLatin1Char('/')));
    if (object.contains(QLatin1String("size")))
        setSize(object.value(QLatin1String("size")).toVariant().toULongLong());
    if (object.contains(QLatin1String("etag")))
        setEtag(object.value(QLatin1String("etag")).toString().toUtf8());
    if (object.contains(QLatin1String("lastModified")))
        setLastModified(utcDate(object.value(QLatin1String("lastModified")).toString()));
}

ListingVersionObject::ListingVersionObject(const QDomElement& element, bool commonPrefixes)
{
    if (commonPrefixes) {
        readCommonPrefix(*this, element);
        return;
    }
    readObject(*this, element);
    const QString versionId = childText(element, "VersionId");
    if (!versionId.isEmpty())
        setFileId(versionId.toUtf8());
}

MultipartListPartObjectAmazon::MultipartListPartObjectAmazon(const QDomElement& part)
{
    setEtag(childText(part, "ETag").toUtf8());
    setPartNumber(childText(part, "PartNumber").toULongLong());
    setSize(childText(part, "Size").toULongLong());
}

AmazonS3MultipleDeleteErrorObject::AmazonS3MultipleDeleteErrorObject(const QDomElement& error)
{
    setName(childText(error, "Key"));
    setMessage(childText(error, "Message"));
    const QString code = childText(error, "Code");
    if (code == QLatin1String("AccessDenied"))
        setCode(AccessDenied);
    else if (code == QLatin1String("KtrInternalError"))
        setCode(InternalError);
    else
        setCode(Other);
}

// --- Marker ---------------------------------------------------------------------------------

ListingMarker::ListingMarker(const QString& key, const QString& versionId)
    : m_key(key)
    , m_versionId(versionId)
{
}

ListingMarker::ListingMarker(const QString& marker)
{
    const QJsonDocument document = QJsonDocument::fromJson(marker.toUtf8());
    if (!document.isObject())
        return;
    const QJsonObject object = document.object();
    m_key = object.value(QLatin1String("k")).toString();
    m_versionId = object.value(QLatin1String("v")).toString();
    if (m_key.endsWith(QLatin1Char('/')))
        m_key.chop(1);
}

QString ListingMarker::toMarker() const
{
    QJsonObject object;
    if (!m_key.isEmpty())
        object.insert(QLatin1String("k"), m_key);
    if (!m_versionId.isEmpty())
        object.insert(QLatin1String("v"), m_versionId);
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

// --- Parsers --------------------------------------------------------------------------------

ParseListBucketResult::~ParseListBucketResult() = default;

void ParseListBucketResult::takeMarkerFromLastEntry()
{
    if (isTruncated && marker.isEmpty() && !parseResult.isEmpty())
        marker = ListingObject(parseResult.last().toObject()).name();
}

ParseListBucketResultXml::ParseListBucketResultXml(const QMap<QByteArray, QByteArray>& headers)
    : m_headers(headers)
{
}

void ParseListBucketResultXml::parse(const QByteArray& body)
{
    const QDomElement root = rootOf(body, "ParseListBucketResultXml", "ListBucketResult");
    isTruncated = truncated(root);
    marker = isTruncated ? childText(root, "NextMarker") : QString();
    for (QDomElement e = root.firstChildElement(QLatin1String("Contents")); !e.isNull();
         e = e.nextSiblingElement(QLatin1String("Contents")))
        parseResult.append(ListingObjectAmazon(e, m_headers).json());
    for (QDomElement e = root.firstChildElement(QLatin1String("CommonPrefixes")); !e.isNull();
         e = e.nextSiblingElement(QLatin1String("CommonPrefixes")))
        parseResult.append(ListingObjectAmazon(e).json());
    takeMarkerFromLastEntry();
    ok = true;
}

void ParseListBucketResultJson::parse(const QByteArray& body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (!document.isObject()) {
        NorvikDebug("NKC").warning()
            << "CloudAmazonS3Like::ParseListBucketResultJson: error on result content format:"
            << error.errorString();
        NorvikDebug("NKC").infoH() << "CloudAmazonS3Like::ParseListBucketResultJson: content:" << body;
        throw Exception::InvalidData(body);
    }
    const QJsonObject root = document.object();
    if (root.contains(QLatin1String("truncated")))
        isTruncated = root.value(QLatin1String("truncated")).toBool();
    if (isTruncated && root.contains(QLatin1String("nextMarker")))
        marker = root.value(QLatin1String("nextMarker")).toString();
    const QJsonArray results = root.value(QLatin1String("results")).toArray();
    for (const QJsonValue& entry : results)
        parseResult.append(ListingObjectAmazonJson(entry.toObject()).json());
    takeMarkerFromLastEntry();
    ok = true;
}

void ParseListVersionsResultXml::parse(const QByteArray& body)
{
    const QDomElement root = rootOf(body, "ParseListVersionsResultXml", "ListVersionsResult");
    isTruncated = truncated(root);
    for (QDomElement e = root.firstChildElement(QLatin1String("Version")); !e.isNull();
         e = e.nextSiblingElement(QLatin1String("Version")))
        parseResult.append(ListingVersionObject(e).json());
    for (QDomElement e = root.firstChildElement(QLatin1String("CommonPrefixes")); !e.isNull();
         e = e.nextSiblingElement(QLatin1String("CommonPrefixes")))
        parseResult.append(ListingVersionObject(e, true).json());

    if (isTruncated) {
        QString key = childText(root, "NextKeyMarker");
        QString versionId = childText(root, "NextVersionIdMarker");
        // A page that names no position would start the listing over and over: it continues
        // after its last entry instead.
        if (key.isEmpty() && versionId.isEmpty() && !parseResult.isEmpty()) {
            const ListingObject last(parseResult.last().toObject());
            // Object names carry a "/" that keys on the wire do not have.
            key = last.name();
            if (key.startsWith(QLatin1Char('/')))
                key.remove(0, 1);
            versionId = QString::fromUtf8(last.fileId());
        }
        marker = ListingMarker(key, versionId).toMarker();
    } else {
        marker.clear();
    }
    ok = true;
}

} // namespace Norvik::Cloud::Api
