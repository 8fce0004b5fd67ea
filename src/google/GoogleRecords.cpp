#include "google/GoogleRecords.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>
#include <QJsonDocument>
#include <QUrl>

namespace Norvik::Cloud::Api {

namespace {

QString childText(const QDomElement& element, const QString& name)
{
    return element.firstChildElement(name).text();
}

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

QString withLeadingSlash(const QString& name)
{
    return name.startsWith(QLatin1Char('/')) ? name : QLatin1Char('/') + name;
}

} // namespace

ListingObjectGoogle::ListingObjectGoogle(const QDomElement& contents, bool isFolder)
{
    setName(withLeadingSlash(childText(contents, QStringLiteral("Key"))));
    const QDomElement size = contents.firstChildElement(QStringLiteral("Size"));
    setSize(size.isNull() ? 0 : size.text().toULongLong());
    setEtag(childText(contents, QStringLiteral("ETag")).toUtf8());
    const QDomElement modified = contents.firstChildElement(QStringLiteral("LastModified"));
    if (!modified.isNull()) {
        QDateTime date = QDateTime::fromString(modified.text(), Qt::ISODateWithMs);
        date.setTimeSpec(Qt::UTC);
        if (date.isValid())
            setLastModified(date);
    }
    setIsFolder(isFolder);
}

ListingObjectGoogle::ListingObjectGoogle(const QDomElement& commonPrefixes)
{
    setName(childText(commonPrefixes, QStringLiteral("Prefix")));
    setSize(0);
    setIsFolder(true);
}

ListingObjectGoogle::ListingObjectGoogle(const QUrl& url, quint64 size,
                                         const QMap<QByteArray, QByteArray>& responseHeaders)
{
    setName(url.path());
    setSize(size);
    setEtag(responseHeaders.value("etag"));
    setIsFolder(false);
}

namespace GoogleXml {

QMap<QString, QString> parseError(const QByteArray& body)
{
    QMap<QString, QString> error;
    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").warning() << "Error on parce error message content:" << message;
        NorvikDebug("NKC").debug() << body;
        return error;
    }
    // The root is "Error" itself in the service's documents; a wrapped form is read too.
    QDomElement root = document.documentElement();
    if (root.tagName() != QLatin1String("Error"))
        root = root.firstChildElement(QStringLiteral("Error"));
    for (QDomElement child = root.firstChildElement(); !child.isNull(); child = child.nextSiblingElement())
        error.insert(child.tagName(), child.firstChild().nodeValue());
    return error;
}

QJsonArray parseContainers(const QByteArray& body)
{
    const QDomDocument document = documentOf(body);
    QJsonArray result;
    const QDomElement buckets = document.firstChildElement(QStringLiteral("ListAllMyBucketsResult"))
                                    .firstChildElement(QStringLiteral("Buckets"));
    for (QDomElement bucket = buckets.firstChildElement(QStringLiteral("Bucket")); !bucket.isNull();
         bucket = bucket.nextSiblingElement(QStringLiteral("Bucket")))
        result.append(
            QJsonObject{{QStringLiteral("Name"), childText(bucket, QStringLiteral("Name"))},
                        {QStringLiteral("CreationDate"), childText(bucket, QStringLiteral("CreationDate"))}});
    return result;
}

QJsonArray parseListing(const QByteArray& body, QString& marker)
{
    const QDomDocument document = documentOf(body);
    const QDomElement root = document.firstChildElement(QStringLiteral("ListBucketResult"));
    if (childText(root, QStringLiteral("IsTruncated")) == QLatin1String("true"))
        marker = childText(root, QStringLiteral("NextMarker"));
    else
        marker.clear();
    QJsonArray result;
    for (QDomElement e = root.firstChildElement(QStringLiteral("Contents")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("Contents")))
        result.append(ListingObjectGoogle(e, false).json());
    for (QDomElement e = root.firstChildElement(QStringLiteral("CommonPrefixes")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("CommonPrefixes")))
        result.append(ListingObjectGoogle(e).json());
    return result;
}

QByteArray parseUploadId(const QByteArray& body)
{
    const QDomDocument document = documentOf(body);
    const QByteArray id =
        childText(document.firstChildElement(QStringLiteral("InitiateMultipartUploadResult")),
                  QStringLiteral("UploadId"))
            .toUtf8();
    NorvikDebug("NKC").debug() << "UploadId:" << id;
    return id;
}

QJsonObject parseCompleteUpload(const QByteArray& body)
{
    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").error() << "Invalid data:" << message;
        throw Exception::InvalidData(body);
    }
    return ListingObjectGoogle(document.firstChildElement(QStringLiteral("CompleteMultipartUploadResult")),
                               false)
        .json();
}

} // namespace GoogleXml

namespace GoogleJson {

TokenAnswer parseTokenAnswer(const QByteArray& body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return {QJsonObject(), error.errorString()};
    if (!document.isObject())
        return {QJsonObject(), QStringLiteral("not a JSON object")};
    return {document.object(), QString()};
}

} // namespace GoogleJson

} // namespace Norvik::Cloud::Api
