#include "s3/CloudAmazonS3Like.h"

#include "s3/AmazonS3LikeRecords.h"
#include "s3/CloudAmazonS3LikePrivate.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "operations/ContainerParams.h"

#include <NorvikCore/Hash.h>
#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>
#include <QDomDocument>
#include <QDomElement>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>
#include <QXmlStreamWriter>

namespace Norvik::Cloud::Api {

namespace {

using HeaderMap = CloudAmazonS3LikePrivate::HeaderMap;

const QByteArray DefaultContentType = QByteArrayLiteral("binary/octet-stream");

// Object paths reach the verbs with exactly the leading "/" that the application's paths have.
// A path that names no object is refused: on the wire it would address the bucket itself, and
// a delete or an upload there must never happen by mistake.
QString objectPath(const QString& path)
{
    const QString key = path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path;
    if (key == QLatin1String("/"))
        throw Exception::InvalidArgument(
            QByteArray(), QCoreApplication::translate("CloudAmazonS3Like", "The object path is empty"),
            QStringLiteral("path"));
    return key;
}

QString withoutLeadingSlash(QString text)
{
    if (text.startsWith(QLatin1Char('/')))
        text.remove(0, 1);
    return text;
}

// QUrlQuery reads "%" followed by two hexadecimal digits as an escape: a literal "%" in a
// prefix or marker is escaped first, so that the signing code gets back the very text.
void addItem(QUrlQuery& query, const QString& key, const QString& value)
{
    query.addQueryItem(key, QString(value).replace(QLatin1Char('%'), QLatin1String("%25")));
}

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

// The headers of an object's creation: metadata, and a content type in any case.
HeaderMap creationHeaders(const CloudAmazonS3LikePrivate& d, const QMap<QString, QVariant>& metaData)
{
    HeaderMap headers = d.header(metaData);
    if (headers.value("Content-Type").isEmpty())
        headers.insert("Content-Type", DefaultContentType);
    return headers;
}

// The name under which an object of a listing is deleted: folders end in "/", and every name
// begins with one.
QString deletionName(const ListingObject& object)
{
    QString name = object.name();
    if (object.isFolder() && !name.endsWith(QLatin1Char('/')))
        name += QLatin1Char('/');
    return objectPath(name);
}

// The document of a successful answer, or InvalidData with the logs.
QDomDocument documentOf(const QByteArray& body, const char* label)
{
    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").warning() << label << message;
        NorvikDebug("NKC").infoH() << body;
        throw Exception::InvalidData(body);
    }
    return document;
}

} // namespace

CloudAmazonS3Like::CloudAmazonS3Like(Type type)
    : CloudAmazonS3Like(type, CloudPrivateFactory::instance().createAmazonS3Like(type))
{
}

CloudAmazonS3Like::CloudAmazonS3Like(Type type, CloudAmazonS3LikePrivate* d)
    : CloudHttp(type)
    , d(d)
{
    if (this->d)
        this->d->setSignature(this->d->cloudInfo()->defaultSignature());
}

CloudAmazonS3Like::~CloudAmazonS3Like() = default;

bool CloudAmazonS3Like::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").debug() << "Cloud config is empty";
        return false;
    }
    return d->setConfig(config) && CloudHttp::setConfig(config);
}

QString CloudAmazonS3Like::checkBucketRegion(QString bucket)
{
    NorvikFullDebug trace(Q_FUNC_INFO);
    try {
        QUrlQuery query;
        query.addQueryItem(QStringLiteral("location"), QString());
        HeaderMap headers;
        QByteArray body;
        d->get(bucket, QStringLiteral("/"), query, headers, false, body);

        QDomDocument document;
        QString message;
        if (!document.setContent(body, &message)) {
            NorvikDebug("NKC").warning() << "Error on parce content:" << message;
            NorvikDebug("NKC").infoH() << body;
            throw Exception::InvalidData(body);
        }
        QDomElement location = document.documentElement();
        if (location.tagName() != QLatin1String("LocationConstraint"))
            location = location.firstChildElement(QStringLiteral("LocationConstraint"));
        const QString region = location.text();
        if (region.isEmpty())
            return QStringLiteral("us-east-1");
        // The oldest buckets in Ireland still answer with the region's former name.
        if (region == QLatin1String("EU"))
            return QStringLiteral("eu-west-1");
        return region;
    } catch (const Exception::WrongRegion& e) {
        if (e.region().isEmpty())
            throw;
        return e.region();
    } catch (const Exception::TemporaryRedirect& e) {
        const QString region = QString::fromUtf8(e.headers().value("x-amz-bucket-region"));
        if (region.isEmpty())
            throw;
        return region;
    }
}

void CloudAmazonS3Like::checkConfig(const QString& bucket, QMap<QString, QVariant>& config)
{
    namespace Keys = ::Norvik::Cloud::Config::AmazonS3Like;
    if (d->signature() == Info::AmazonS3Like::V4 && !config.contains(Keys::Region)) {
        const QString region = checkBucketRegion(bucket);
        const QSharedPointer<Info::AmazonS3Like>& info = d->cloudInfo();
        // Services with updatable region lists keep only regions they know; a fresher list is
        // fetched when the built-in one lacks the answer.
        if (info->type() == Type::AmazonS3 || info->type() == Type::Wasabi) {
            if (info->regions(false).contains(region) || info->regions(true).contains(region))
                config.insert(Keys::Region, region);
        } else {
            config.insert(Keys::Region, region);
        }
    }
    if (!setConfig(config))
        throw Exception::InvalidArgument(QByteArray(), tr("The storage configuration is incomplete"),
                                         ::Norvik::Cloud::Config::Id);
}

// --- Listing --------------------------------------------------------------------------------

QJsonDocument CloudAmazonS3Like::listing(const QString& bucket, const QString& prefix, QString& marker,
                                         const QString& delimiter, quint16 maxKeys)
{
    if (d->cloudInfo()->supportVersioning())
        return listingWithVersions(bucket, prefix, marker, delimiter, maxKeys);
    return listingObjects(bucket, prefix, marker, delimiter, maxKeys);
}

QJsonDocument CloudAmazonS3Like::listingObjects(const QString& bucket, const QString& prefix, QString& marker,
                                                const QString& delimiter, quint16 maxKeys)
{
    QUrlQuery query;
    if (!delimiter.isEmpty())
        addItem(query, QStringLiteral("delimiter"), delimiter);
    // Markers continue from a name of the previous page, which has the "/" of object names.
    if (!marker.isEmpty())
        addItem(query, QStringLiteral("marker"), withoutLeadingSlash(marker));
    addItem(query, QStringLiteral("max-keys"), QString::number(maxKeys));
    addItem(query, QStringLiteral("prefix"), withoutLeadingSlash(prefix));

    HeaderMap headers;
    QByteArray body;
    const HeaderMap responseHeaders = d->get(bucket, QStringLiteral("/"), query, headers, true, body).second;

    std::unique_ptr<ParseListBucketResult> parser;
    if (responseHeaders.value("content-type").contains("application/json"))
        parser = std::make_unique<ParseListBucketResultJson>();
    else
        parser = std::make_unique<ParseListBucketResultXml>(responseHeaders);
    parser->parse(body);

    // An empty marker tells the caller that this was the last page.
    marker = parser->isTruncated ? parser->marker : QString();
    return QJsonDocument(parser->parseResult);
}

QJsonDocument CloudAmazonS3Like::listingWithVersions(const QString& bucket, const QString& prefix,
                                                     QString& marker, const QString& delimiter,
                                                     quint16 maxKeys)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("versions"), QString());
    if (!delimiter.isEmpty())
        addItem(query, QStringLiteral("delimiter"), delimiter);
    if (!marker.isEmpty()) {
        const ListingMarker position(marker);
        if (!position.key().isEmpty())
            addItem(query, QStringLiteral("key-marker"), position.key());
        if (!position.versionId().isEmpty())
            addItem(query, QStringLiteral("version-id-marker"), position.versionId());
    }
    addItem(query, QStringLiteral("max-keys"), QString::number(maxKeys));
    addItem(query, QStringLiteral("prefix"), withoutLeadingSlash(prefix));

    HeaderMap headers;
    QByteArray body;
    d->get(bucket, QStringLiteral("/"), query, headers, true, body);

    ParseListVersionsResultXml parser;
    parser.parse(body);
    marker = parser.isTruncated ? parser.marker : QString();
    return QJsonDocument(parser.parseResult);
}

// --- Whole objects --------------------------------------------------------------------------

QJsonObject CloudAmazonS3Like::upload(const QString& bucket, const QString& path,
                                      const QMap<QString, QVariant>& metaData, const QByteArray& data,
                                      const QUuid& operationId)
{
    return upload(bucket, path, metaData, readOnlyBuffer(data), data.size(), operationId);
}

QJsonObject CloudAmazonS3Like::upload(const QString& bucket, const QString& path,
                                      const QMap<QString, QVariant>& metaData,
                                      QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId)
{
    HeaderMap headers = creationHeaders(*d, metaData);
    headers.insert("Content-Length", QByteArray::number(size));
    const QString key = objectPath(path);
    const HeaderMap responseHeaders =
        d->put(bucket, key, QUrlQuery(), headers, true, device, size, operationId).second;

    QUrl url;
    url.setPath(key);
    return ListingObjectAmazon(url, static_cast<quint64>(size), responseHeaders).json();
}

void CloudAmazonS3Like::download(const QString& bucket, const QString& path, QIODevice& out,
                                 QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    if (!out.isWritable())
        return;
    HeaderMap headers;
    const HeaderMap responseHeaders =
        d->get(bucket, objectPath(path), QUrlQuery(), headers, true, &out, operationId).second;
    metaData.insert(d->metaDataFromHeader(responseHeaders));
}

QByteArray CloudAmazonS3Like::download(const QString& bucket, const QString& path, qint64 position,
                                       qint64 size, QMap<QString, QVariant>& metaData,
                                       const QUuid& operationId)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    download(bucket, path, position, size, buffer, metaData, operationId);
    buffer.close();
    return data;
}

void CloudAmazonS3Like::download(const QString& bucket, const QString& path, qint64 position, qint64 size,
                                 QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    if (!out.isWritable())
        return;
    // size is the count of bytes less one: the range's last offset is position + size.
    HeaderMap headers{{"Range", QStringLiteral("bytes=%1-%2").arg(position).arg(position + size).toUtf8()}};
    const HeaderMap responseHeaders =
        d->get(bucket, objectPath(path), QUrlQuery(), headers, true, &out, operationId).second;
    metaData.insert(d->metaDataFromHeader(responseHeaders));
}

QMap<QByteArray, QByteArray> CloudAmazonS3Like::header(const QString& bucket, const QString& path)
{
    HeaderMap headers;
    return d->head(bucket, objectPath(path), QUrlQuery(), headers, true).second;
}

void CloudAmazonS3Like::setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&) {}

QString CloudAmazonS3Like::signUrl(const QString& bucket, const QString& path, bool useSsl,
                                   const QDateTime& expires)
{
    // No URL for a path that names no object.
    if (path.isEmpty() || path == QLatin1String("/"))
        return QString();
    return d->signUrl(bucket, objectPath(path), useSsl, expires);
}

// --- Deletes --------------------------------------------------------------------------------

bool CloudAmazonS3Like::delete_(const QString& bucket, const QJsonObject& object)
{
    const ListingObject entry(object);
    QUrlQuery query;
    if (!entry.fileId().isEmpty())
        addItem(query, QStringLiteral("versionId"), QString::fromUtf8(entry.fileId()));
    HeaderMap headers;
    try {
        d->delete_(bucket, deletionName(entry), query, headers, true);
    } catch (const Exception::NoContent&) {
        // 204, or the object was not there: either way it is gone.
    }
    return true;
}

QJsonArray CloudAmazonS3Like::delete_(const QString&, const QJsonArray&)
{
    throw Exception::UnsupportedOperation();
}

quint64 CloudAmazonS3Like::maxDeleteCount() const
{
    return d->signature() == Info::AmazonS3Like::V2 ? 0 : CloudHttp::maxDeleteCount();
}

QJsonArray CloudAmazonS3Like::deleteMultiple(const QString& bucket, const QJsonArray& objects)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("delete"), QString());

    QByteArray body;
    QXmlStreamWriter writer(&body);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("Delete"));
    // Quiet: the answer lists only the objects that could not be deleted.
    writer.writeTextElement(QStringLiteral("Quiet"), QStringLiteral("true"));
    for (const QJsonValue& value : objects) {
        const ListingObject entry(value.toObject());
        writer.writeStartElement(QStringLiteral("Object"));
        writer.writeTextElement(QStringLiteral("Key"), withoutLeadingSlash(deletionName(entry)));
        if (!entry.fileId().isEmpty())
            writer.writeTextElement(QStringLiteral("VersionId"), QString::fromUtf8(entry.fileId()));
        writer.writeEndElement();
    }
    writer.writeEndElement();
    writer.writeEndDocument();

    HeaderMap headers{
        {"Content-MD5", Core::Hash::Digest::hash(body, Core::Hash::Algorithm::Md5).toBase64()},
        {"Content-Type", "plain/text"},
        {"Content-Length", QByteArray::number(body.size())},
    };
    const QByteArray answer = d->post(bucket, QStringLiteral("/"), query, headers, true, body).first;

    const QDomDocument document = documentOf(answer, "Error parce response:");
    QJsonArray failed;
    const QDomElement result = document.documentElement();
    for (QDomElement e = result.firstChildElement(QStringLiteral("Error")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("Error")))
        failed.append(AmazonS3MultipleDeleteErrorObject(e).json());
    return failed;
}

// --- Multipart uploads ----------------------------------------------------------------------

QByteArray CloudAmazonS3Like::beginMultipartUpload(const QString& bucket, const QString& path,
                                                   const QMap<QString, QVariant>& metaData)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("uploads"), QString());
    HeaderMap headers = creationHeaders(*d, metaData);
    const QByteArray answer = d->post(bucket, objectPath(path), query, headers, true, QByteArray()).first;

    const QDomDocument document = documentOf(answer, "Error parce response:");
    QDomElement result = document.documentElement();
    if (result.tagName() != QLatin1String("InitiateMultipartUploadResult"))
        result = result.firstChildElement(QStringLiteral("InitiateMultipartUploadResult"));
    const QString uploadId = result.firstChildElement(QStringLiteral("UploadId")).text();
    NorvikDebug("NKC").debug() << "UploadId:" << uploadId;
    // Without an id no part could be sent.
    if (uploadId.isEmpty())
        throw Exception::InvalidData(answer);
    return uploadId.toUtf8();
}

QByteArray CloudAmazonS3Like::uploadMultipart(const QString& bucket, const QString& path,
                                              const QByteArray& uploadId, quint64 partNumber,
                                              const QByteArray& data, const QUuid& operationId)
{
    return uploadMultipart(bucket, path, uploadId, partNumber, readOnlyBuffer(data), data.size(),
                           operationId);
}

QByteArray CloudAmazonS3Like::uploadMultipart(const QString& bucket, const QString& path,
                                              const QByteArray& uploadId, quint64 partNumber,
                                              QSharedPointer<QIODevice> device, qint64 size,
                                              const QUuid& operationId)
{
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("partNumber"), QString::number(partNumber));
    addItem(query, QStringLiteral("uploadId"), QString::fromUtf8(uploadId));
    // No "Content-Length" here: the transport adds it after signing, so that it is not among
    // the signed headers.
    HeaderMap headers{{"Content-Type", "x-application/octet-stream"}};
    const CloudAmazonS3LikePrivate::Response response =
        d->put(bucket, objectPath(path), query, headers, true, device, size, operationId);
    if (!response.second.contains("etag"))
        throw Exception::InvalidData(response.first);
    return response.second.value("etag");
}

QJsonObject CloudAmazonS3Like::endMultipartUpload(const QString& bucket, const QString& path,
                                                  const QByteArray& uploadId,
                                                  const QList<QPair<quint64, QByteArray>>& parts)
{
    QUrlQuery query;
    addItem(query, QStringLiteral("uploadId"), QString::fromUtf8(uploadId));
    HeaderMap headers{{"Content-Type", "application/xml"}};

    QByteArray body;
    QXmlStreamWriter writer(&body);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("CompleteMultipartUpload"));
    for (const auto& part : parts) {
        writer.writeStartElement(QStringLiteral("Part"));
        writer.writeTextElement(QStringLiteral("PartNumber"), QString::number(part.first));
        writer.writeTextElement(QStringLiteral("ETag"), QString::fromUtf8(part.second));
        writer.writeEndElement();
    }
    writer.writeEndElement();
    writer.writeEndDocument();

    const CloudAmazonS3LikePrivate::Response response =
        d->post(bucket, objectPath(path), query, headers, true, body);

    QDomDocument document;
    QString message;
    if (!document.setContent(response.first, &message)) {
        NorvikDebug("NKC").error() << "Invalid data:" << message;
        NorvikDebug("NKC").infoH() << response.first;
        throw Exception::InvalidData(response.first);
    }
    const QDomElement result = document.documentElement();
    // The service may accept the request and fail the assembly later, answering 200 with an
    // error document: the object does not exist then.
    if (result.tagName() == QLatin1String("Error")) {
        const QString code = result.firstChildElement(QStringLiteral("Code")).text();
        const QString text = result.firstChildElement(QStringLiteral("Message")).text();
        NorvikDebug("NKC").error() << "Complete multipart upload failed:" << code << text;
        throw Exception::MultipartUploadError(response.first, text.isEmpty() ? code : text);
    }
    if (result.tagName() != QLatin1String("CompleteMultipartUploadResult")) {
        NorvikDebug("NKC").error() << "Invalid data:" << result.tagName();
        throw Exception::InvalidData(response.first);
    }
    return ListingObjectAmazon(result, response.second).json();
}

void CloudAmazonS3Like::abortMultipartUpload(const QString& bucket, const QString& path,
                                             const QByteArray& uploadId)
{
    QUrlQuery query;
    addItem(query, QStringLiteral("uploadId"), QString::fromUtf8(uploadId));
    HeaderMap headers;
    try {
        d->delete_(bucket, objectPath(path), query, headers, true);
    } catch (const Exception::NoContent&) {
        // 204: aborted.
    }
}

QJsonArray CloudAmazonS3Like::listPartsMultipart(const QString& bucket, const QString& path,
                                                 const QByteArray& uploadId, quint64& marker)
{
    QUrlQuery query;
    if (marker != 0)
        query.addQueryItem(QStringLiteral("part-number-marker"), QString::number(marker));
    addItem(query, QStringLiteral("uploadId"), QString::fromUtf8(uploadId));

    HeaderMap headers;
    QByteArray body;
    try {
        d->get(bucket, objectPath(path), query, headers, true, body);
    } catch (const Exception::MultipartInvalidUploadId& e) {
        // A vanished upload is one without parts: the caller starts over.
        NorvikDebug("NKC").warning() << "CloudAmazonS3Like::listPartsMultipart:" << e.message();
        marker = 0;
        return QJsonArray();
    }

    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").warning() << "Error parce response:" << message;
        NorvikDebug("NKC").infoH() << body;
        marker = 0;
        return QJsonArray();
    }
    const QDomElement result = document.documentElement();
    QJsonArray parts;
    for (QDomElement e = result.firstChildElement(QStringLiteral("Part")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("Part")))
        parts.append(MultipartListPartObjectAmazon(e).json());

    const QDomElement next = result.firstChildElement(QStringLiteral("NextPartNumberMarker"));
    if (result.firstChildElement(QStringLiteral("IsTruncated")).text() == QLatin1String("false"))
        marker = 0;
    else
        marker = next.isNull() ? 0 : next.text().toULongLong();
    return parts;
}

QPair<bool, QByteArray> CloudAmazonS3Like::checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                                           const QByteArray& data)
{
    return checkUploadPart(partNumber, parts, readOnlyBuffer(data), data.size());
}

QPair<bool, QByteArray> CloudAmazonS3Like::checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                                           QSharedPointer<QIODevice> device, qint64 size)
{
    for (const QJsonValue& value : parts) {
        const MultipartListPartObject part(value.toObject());
        // A part of the same number but another size may stand beside the one at hand.
        if (part.partNumber() != partNumber || part.size() != static_cast<quint64>(size))
            continue;
        // Tags in quotes on both sides; hexadecimal digits in either case.
        if (calculateETag(device.data()).toUpper() == part.eTag().toUpper())
            return qMakePair(true, part.eTag());
        return qMakePair(false, QByteArray());
    }
    return qMakePair(false, QByteArray());
}

QByteArray CloudAmazonS3Like::calculateETag(QIODevice* device)
{
    if (!device)
        return QByteArray();
    const qint64 position = device->pos();
    Core::Hash::Digest md5(Core::Hash::Algorithm::Md5);
    md5.addData(*device);
    device->seek(position);
    return '"' + md5.result().toHex() + '"';
}

// --- Containers -----------------------------------------------------------------------------

bool CloudAmazonS3Like::createContainers(const QJsonObject& params)
{
    const ContainerParams::AmazonS3Like container(params);
    const bool supportRegions = d->cloudInfo()->supportRegions();
    if (!container.isValid() || (supportRegions && !container.useRegion())) {
        NorvikDebug("NKC").warning() << "Don't valide input params";
        NorvikDebug("NKC").debug() << "params:" << QJsonDocument(params).toJson(QJsonDocument::Compact);
        return false;
    }

    HeaderMap headers;
    if (!supportRegions) {
        d->put(container.name(), QStringLiteral("/"), QUrlQuery(), headers, false, QByteArray());
        return true;
    }

    d->setRegion(container.region());
    QByteArray body;
    QXmlStreamWriter writer(&body);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("CreateBucketConfiguration"));
    writer.writeTextElement(QStringLiteral("LocationConstraint"), container.region());
    writer.writeEndElement();
    writer.writeEndDocument();
    d->put(container.name(), QStringLiteral("/"), QUrlQuery(), headers, true, body);
    return true;
}

bool CloudAmazonS3Like::removeContainers(const QString& bucket)
{
    if (bucket.isEmpty())
        return false;
    HeaderMap headers;
    // The service answers 204, which arrives as NoContent: the job boundary counts it as done.
    d->delete_(bucket, QStringLiteral("/"), QUrlQuery(), headers, true);
    return true;
}

QJsonDocument CloudAmazonS3Like::containers()
{
    HeaderMap headers;
    QByteArray body;
    d->get(QString(), QStringLiteral("/"), QUrlQuery(), headers, false, body);

    QDomDocument document;
    QString message;
    if (!document.setContent(body, &message)) {
        NorvikDebug("NKC").warning() << "error on result content format:" << message;
        NorvikDebug("NKC").infoH() << "content:" << body;
        throw Exception::InvalidData(body);
    }
    QJsonArray buckets;
    const QDomElement list = document.documentElement().firstChildElement(QStringLiteral("Buckets"));
    for (QDomElement e = list.firstChildElement(QStringLiteral("Bucket")); !e.isNull();
         e = e.nextSiblingElement(QStringLiteral("Bucket"))) {
        buckets.append(QJsonObject{
            {QStringLiteral("Name"), e.firstChildElement(QStringLiteral("Name")).text()},
            {QStringLiteral("CreationDate"), e.firstChildElement(QStringLiteral("CreationDate")).text()},
        });
    }
    return QJsonDocument(buckets);
}

// --- Endpoint and descriptor ----------------------------------------------------------------

QUrl CloudAmazonS3Like::endpoint() const
{
    return d->endpoint();
}

void CloudAmazonS3Like::setEndpoint(const QUrl& endpoint)
{
    d->setEndpoint(endpoint);
}

QUrl CloudAmazonS3Like::defaultEndpoint() const
{
    return d->cloudInfo()->defaultEndpoint();
}

QList<Info::AmazonS3Like::Signature> CloudAmazonS3Like::supportSignature() const
{
    return d->cloudInfo()->supportSignature();
}

} // namespace Norvik::Cloud::Api
