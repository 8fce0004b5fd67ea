#include "google/CloudGoogleStorage.h"

#include "google/CloudGoogleStoragePrivate.h"
#include "google/GoogleRecords.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "info/GoogleStorageInfo.h"
#include "operations/ContainerParams.h"

#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>
#include <QXmlStreamWriter>

#include <limits>

namespace Norvik::Cloud::Api {

namespace {

using HeaderMap = CloudGoogleStoragePrivate::HeaderMap;

QString objectPath(const QString& path)
{
    return path.startsWith(QLatin1Char('/')) ? path : QLatin1Char('/') + path;
}

// QUrlQuery reads "%" and two hexadecimal digits as an escape: a literal "%" in a prefix or a
// marker is escaped first, so that the signature and the URL get the very text.
void addItem(QUrlQuery& query, const QString& key, const QString& value)
{
    query.addQueryItem(key, QString(value).replace(QLatin1Char('%'), QLatin1String("%25")));
}

// The URL that names an uploaded object in its record: the path as it was given.
QUrl pathUrl(const QString& path)
{
    QUrl url;
    url.setPath(path);
    return url;
}

// size is the count of bytes less one. A count past any object's end (what a resumed whole
// download asks for) would make an end that is no number at all, and the service would send the
// whole object instead of the rest: that range is left open.
QByteArray rangeHeader(qint64 position, qint64 size)
{
    if (size < 0 || position > std::numeric_limits<qint64>::max() - size)
        return QStringLiteral("bytes=%1-").arg(position).toUtf8();
    return QStringLiteral("bytes=%1-%2").arg(position).arg(position + size).toUtf8();
}

} // namespace

CloudGoogleStorage::CloudGoogleStorage()
    : CloudHttp(Type::GoogleStorage)
    , d(CloudPrivateFactory::instance().createGoogleStorage())
{
    useSsl = true;
}

CloudGoogleStorage::~CloudGoogleStorage() = default;

bool CloudGoogleStorage::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").debug() << "Cloud config is empty";
        return false;
    }
    if (!d || !d->setConfig(config))
        return false;
    return CloudHttp::setConfig(config);
}

void CloudGoogleStorage::checkConfig(const QString&, QMap<QString, QVariant>&)
{
    NorvikDebug("NKC").debug() << Q_FUNC_INFO << "this function dont support... sorry...";
}

QUrl CloudGoogleStorage::endpoint() const
{
    return d->endpoint();
}

void CloudGoogleStorage::setEndpoint(const QUrl& endpoint)
{
    d->setEndpoint(endpoint);
}

QUrl CloudGoogleStorage::defaultEndpoint() const
{
    return Info::GoogleStorage().defaultEndpoint();
}

// --- Buckets and listings ---------------------------------------------------------------

bool CloudGoogleStorage::createContainers(const QJsonObject& params)
{
    const ContainerParams::GoogleStorage bucket(params);
    if (!bucket.isValid()) {
        NorvikDebug("NKC").warning() << "Don't valide input params";
        NorvikDebug("NKC").debug() << "params:" << QJsonDocument(params).toJson();
        return false;
    }
    QByteArray document;
    QXmlStreamWriter writer(&document);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("CreateBucketConfiguration"));
    writer.writeTextElement(QStringLiteral("LocationConstraint"), bucket.region());
    writer.writeTextElement(QStringLiteral("StorageClass"), bucket.storageType());
    writer.writeEndElement();
    writer.writeEndDocument();
    HeaderMap headers;
    d->put(bucket.name(), QStringLiteral("/"), QUrlQuery(), headers, document);
    return true;
}

bool CloudGoogleStorage::removeContainers(const QString& container)
{
    HeaderMap headers;
    try {
        d->delete_(container, QStringLiteral("/"), QUrlQuery(), headers);
    } catch (const Exception::NoContent& e) {
        // The service answers a removed bucket with 204; a missing one is an error.
        if (e.code() == 404)
            throw;
    }
    return true;
}

QJsonDocument CloudGoogleStorage::containers()
{
    HeaderMap headers;
    QByteArray body;
    d->get(QString(), QStringLiteral("/"), QUrlQuery(), headers, body);
    return QJsonDocument(GoogleXml::parseContainers(body));
}

QJsonDocument CloudGoogleStorage::listing(const QString& container, const QString& prefix, QString& marker,
                                          const QString& delimiter, quint16 maxKeys)
{
    QUrlQuery query;
    if (!marker.isEmpty())
        addItem(query, QStringLiteral("marker"), marker);
    if (!delimiter.isEmpty())
        addItem(query, QStringLiteral("delimiter"), delimiter);
    addItem(query, QStringLiteral("max-keys"), QString::number(maxKeys));
    addItem(query, QStringLiteral("prefix"), prefix.startsWith(QLatin1Char('/')) ? prefix.mid(1) : prefix);
    HeaderMap headers;
    QByteArray body;
    d->get(container, QStringLiteral("/"), query, headers, body);
    return QJsonDocument(GoogleXml::parseListing(body, marker));
}

// --- Objects ----------------------------------------------------------------------------

QJsonObject CloudGoogleStorage::upload(const QString& container, const QString& path,
                                       const QMap<QString, QVariant>& metaData, const QByteArray& data,
                                       const QUuid& operationId)
{
    HeaderMap headers = d->header(metaData);
    const auto response = d->put(container, objectPath(path), QUrlQuery(), headers, data, operationId);
    return ListingObjectGoogle(pathUrl(path), quint64(data.size()), response.second).json();
}

QJsonObject CloudGoogleStorage::upload(const QString& container, const QString& path,
                                       const QMap<QString, QVariant>& metaData,
                                       QSharedPointer<QIODevice> device, qint64 size,
                                       const QUuid& operationId)
{
    HeaderMap headers = d->header(metaData);
    const auto response =
        d->put(container, objectPath(path), QUrlQuery(), headers, device, size, operationId);
    return ListingObjectGoogle(pathUrl(path), quint64(size), response.second).json();
}

void CloudGoogleStorage::download(const QString& container, const QString& path, QIODevice& out,
                                  QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    if (!out.isWritable())
        return;
    HeaderMap headers{{"Accept-Encoding", "gzip"}};
    const auto response = d->get(container, objectPath(path), QUrlQuery(), headers, &out, operationId);
    metaData = d->metaDataFromHeader(response.second);
}

QByteArray CloudGoogleStorage::download(const QString& container, const QString& path, qint64 position,
                                        qint64 size, QMap<QString, QVariant>& metaData,
                                        const QUuid& operationId)
{
    HeaderMap headers{{"Accept-Encoding", "gzip"}, {"Range", rangeHeader(position, size)}};
    QByteArray data;
    const auto response = d->get(container, objectPath(path), QUrlQuery(), headers, data, operationId);
    metaData = d->metaDataFromHeader(response.second);
    return data;
}

void CloudGoogleStorage::download(const QString& container, const QString& path, qint64 position, qint64 size,
                                  QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    if (!out.isWritable())
        return;
    HeaderMap headers{{"Accept-Encoding", "gzip"}, {"Range", rangeHeader(position, size)}};
    const auto response = d->get(container, objectPath(path), QUrlQuery(), headers, &out, operationId);
    metaData = d->metaDataFromHeader(response.second);
}

bool CloudGoogleStorage::delete_(const QString& container, const QJsonObject& object)
{
    HeaderMap headers;
    try {
        d->delete_(container, objectPath(ListingObject(object).name()), QUrlQuery(), headers);
    } catch (const Exception::NoContent&) {
        // 204, or an object that is already gone: either way it is not there any more.
    }
    return true;
}

QJsonArray CloudGoogleStorage::delete_(const QString&, const QJsonArray&)
{
    throw Exception::UnsupportedOperation();
}

QMap<QByteArray, QByteArray> CloudGoogleStorage::header(const QString& container, const QString& path)
{
    HeaderMap headers;
    return d->head(container, objectPath(path), QUrlQuery(), headers).second;
}

void CloudGoogleStorage::setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&)
{
    throw Exception::UnsupportedOperation();
}

QString CloudGoogleStorage::signUrl(const QString& container, const QString& path, bool useSsl,
                                    const QDateTime& expires)
{
    return d->signUrl(container, path.isEmpty() ? path : objectPath(path), useSsl, expires);
}

// --- Multipart uploads ------------------------------------------------------------------

QByteArray CloudGoogleStorage::beginMultipartUpload(const QString& container, const QString& path,
                                                    const QMap<QString, QVariant>& metaData)
{
    HeaderMap headers = d->header(metaData);
    if (!headers.contains("Content-Type"))
        headers.insert("Content-Type", "binary/octet-stream");
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("uploads"), QString());
    QByteArray body = d->post(container, objectPath(path), query, headers, QByteArray()).first;
    return GoogleXml::parseUploadId(body);
}

QByteArray CloudGoogleStorage::uploadMultipart(const QString& container, const QString& path,
                                               const QByteArray& uploadId, quint64 partId,
                                               const QByteArray& data, const QUuid& operationId)
{
    auto device = QSharedPointer<QBuffer>::create();
    device->setData(data);
    device->open(QIODevice::ReadOnly);
    return uploadMultipart(container, path, uploadId, partId, device, data.size(), operationId);
}

QByteArray CloudGoogleStorage::uploadMultipart(const QString& container, const QString& path,
                                               const QByteArray& uploadId, quint64 partId,
                                               QSharedPointer<QIODevice> device, qint64 size,
                                               const QUuid& operationId)
{
    QUrlQuery query;
    addItem(query, QStringLiteral("partNumber"), QString::number(partId));
    addItem(query, QStringLiteral("uploadId"), QString::fromUtf8(uploadId));
    HeaderMap headers{{"Content-Type", "x-application/octet-stream"}};
    const auto response = d->put(container, objectPath(path), query, headers, device, size, operationId);
    const QByteArray tag = response.second.value("etag");
    if (tag.isEmpty())
        throw Exception::InvalidData(response.first);
    return tag;
}

QJsonObject CloudGoogleStorage::endMultipartUpload(const QString& container, const QString& path,
                                                   const QByteArray& uploadId,
                                                   const QList<QPair<quint64, QByteArray>>& parts)
{
    QByteArray document;
    QXmlStreamWriter writer(&document);
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

    QUrlQuery query;
    addItem(query, QStringLiteral("uploadId"), QString::fromUtf8(uploadId));
    HeaderMap headers{{"Content-Type", "application/xml"}};
    const QByteArray body = d->post(container, objectPath(path), query, headers, document).first;
    return GoogleXml::parseCompleteUpload(body);
}

void CloudGoogleStorage::abortMultipartUpload(const QString&, const QString&, const QByteArray&) {}

QJsonArray CloudGoogleStorage::listPartsMultipart(const QString&, const QString&, const QByteArray&, quint64&)
{
    return QJsonArray();
}

QPair<bool, QByteArray> CloudGoogleStorage::checkUploadPart(quint64, const QJsonArray&, const QByteArray&)
{
    return qMakePair(false, QByteArray());
}

QPair<bool, QByteArray> CloudGoogleStorage::checkUploadPart(quint64, const QJsonArray&,
                                                            QSharedPointer<QIODevice>, qint64)
{
    return qMakePair(false, QByteArray());
}

} // namespace Norvik::Cloud::Api
