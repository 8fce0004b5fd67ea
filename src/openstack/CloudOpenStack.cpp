#include "openstack/CloudOpenStack.h"

#include "openstack/CloudOpenStackPrivate.h"
#include "openstack/OpenStackRecords.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "operations/ContainerParams.h"

#include <NorvikCore/Hash.h>
#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QMutexLocker>
#include <QUrlQuery>

namespace Norvik::Cloud::Api {

namespace {

using HeaderMap = CloudOpenStackPrivate::HeaderMap;

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

// QUrlQuery reads "%" and two hexadecimal digits as an escape and leaves "+" alone, which
// Swift reads as a space: both are escaped, so that the service gets back the very text.
void addItem(QUrlQuery& query, const QString& key, const QString& value)
{
    query.addQueryItem(key, QString(value)
                                .replace(QLatin1Char('%'), QLatin1String("%25"))
                                .replace(QLatin1Char('+'), QLatin1String("%2B")));
}

QString encoded(const QString& path)
{
    return CloudOpenStack::RFC1738_encode(path, false);
}

// The part number behind the last "_" of a segment's name; 0 when there is none.
quint64 segmentNumber(const QString& name)
{
    const int cut = name.lastIndexOf(QLatin1Char('_'));
    if (cut < 0)
        return 0;
    const QString digits = name.mid(cut + 1);
    bool ok = false;
    const quint64 number = digits.toULongLong(&ok);
    if (!ok || digits.isEmpty() || !digits.at(0).isDigit())
        return 0;
    return number;
}

} // namespace

CloudOpenStack::CloudOpenStack(Type type)
    : CloudHttp(type)
    , d(CloudPrivateFactory::instance().createOpenStack())
{
    useSsl = true;
}

CloudOpenStack::~CloudOpenStack() = default;

bool CloudOpenStack::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").debug() << "Cloud config is empty";
        return false;
    }
    if (!d->setConfig(config))
        return false;
    if (config.contains(Cloud::Config::OpenStack::SegmentPrefix))
        d->setSegmentPrefix(config.value(Cloud::Config::OpenStack::SegmentPrefix).toString());
    return CloudHttp::setConfig(config);
}

void CloudOpenStack::checkConfig(const QString& container, QMap<QString, QVariant>& config)
{
    if (!setConfig(config))
        throw Exception::InvalidArgument(QByteArray(), tr("The OpenStack configuration is not complete"),
                                         QString());
    if (!d->checkConfig(container))
        throw Exception::InvalidAutorizationAccount(QByteArray(), tr("OpenStack authorisation failed"));
}

// --- Listing --------------------------------------------------------------------------------

QJsonDocument CloudOpenStack::listing(const QString& container, const QString& prefix, QString& marker,
                                      const QString& delimiter, quint16 maxKeys)
{
    QUrlQuery query;
    if (!prefix.isEmpty())
        addItem(query, QStringLiteral("prefix"),
                prefix.startsWith(QLatin1Char('/')) ? prefix.mid(1) : prefix);
    addItem(query, QStringLiteral("limit"), QString::number(maxKeys));
    addItem(query, QStringLiteral("format"), QStringLiteral("json"));
    if (!delimiter.isEmpty())
        addItem(query, QStringLiteral("delimiter"), delimiter);
    if (!marker.isEmpty())
        addItem(query, QStringLiteral("marker"),
                marker.startsWith(QLatin1Char('/')) ? marker.mid(1) : marker);

    HeaderMap headers;
    QByteArray answer;
    d->get(container, QStringLiteral("/"), query, headers, answer);
    NorvikDebug("NKC").debug() << "listing:" << answer;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(answer, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        NorvikDebug("NKC").error() << "Error on pare request result. In not json:" << error.errorString();
        NorvikDebug("NKC").debug() << "Parse data:" << answer;
        throw Exception::InvalidData(answer);
    }

    QJsonArray records;
    QString last;
    for (const QJsonValue& value : document.array()) {
        const ListingObjectOpenStack record(value.toObject());
        records.append(record.json());
        last = record.name();
    }
    // Swift continues after the name as it stored it, without our leading "/".
    marker = last;
    return QJsonDocument(records);
}

// --- Whole objects --------------------------------------------------------------------------

QJsonObject CloudOpenStack::upload(const QString& container, const QString& path,
                                   const QMap<QString, QVariant>& metaData, const QByteArray& data,
                                   const QUuid& operationId)
{
    return upload(container, path, metaData, readOnlyBuffer(data), data.size(), operationId);
}

QJsonObject CloudOpenStack::upload(const QString& container, const QString& path,
                                   const QMap<QString, QVariant>& metaData, QSharedPointer<QIODevice> device,
                                   qint64 size, const QUuid& operationId)
{
    HeaderMap headers = d->header(metaData);
    const HeaderMap answer =
        d->put(container, encoded(path), QUrlQuery(), headers, device, size, operationId).second;
    return ListingObjectOpenStack(path, static_cast<quint64>(size), answer).json();
}

void CloudOpenStack::download(const QString& container, const QString& path, QIODevice& out,
                              QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    HeaderMap headers;
    const HeaderMap answer = d->get(container, encoded(path), QUrlQuery(), headers, &out, operationId).second;
    metaData = d->metaDataFromHeader(answer);
}

QByteArray CloudOpenStack::download(const QString& container, const QString& path, qint64 position,
                                    qint64 size, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    HeaderMap headers{{"Range", QStringLiteral("bytes=%1-%2").arg(position).arg(position + size).toUtf8()}};
    QByteArray out;
    const HeaderMap answer = d->get(container, encoded(path), QUrlQuery(), headers, out, operationId).second;
    metaData = d->metaDataFromHeader(answer);
    return out;
}

void CloudOpenStack::download(const QString& container, const QString& path, qint64 position, qint64 size,
                              QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    HeaderMap headers{{"Range", QStringLiteral("bytes=%1-%2").arg(position).arg(position + size).toUtf8()}};
    const HeaderMap answer = d->get(container, encoded(path), QUrlQuery(), headers, &out, operationId).second;
    metaData = d->metaDataFromHeader(answer);
}

// --- Deletes --------------------------------------------------------------------------------

bool CloudOpenStack::delete_(const QString& container, const QJsonObject& object)
{
    const QString name = ListingObject(object).name();
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("multipart-manifest"), QStringLiteral("get"));
    HeaderMap headers;
    const HeaderMap answer = d->head(container, encoded(name), query, headers).second;
    // Dynamic large objects name a prefix of their own: their segments are data of their own.
    if (answer.contains("x-static-large-object") && !answer.contains("x-object-manifest"))
        removeSegments(container, name);
    return simpleDelete(container, name);
}

QJsonArray CloudOpenStack::delete_(const QString&, const QJsonArray&)
{
    return QJsonArray();
}

bool CloudOpenStack::simpleDelete(const QString& container, const QString& path)
{
    HeaderMap headers;
    try {
        d->delete_(container, encoded(path), QUrlQuery(), headers);
    } catch (const Exception::NoContent&) {
        // Swift's 204, and a 404: either way the object is gone.
    }
    return true;
}

bool CloudOpenStack::removeSegments(const QString& container, const QString& path)
{
    QString marker;
    const QJsonArray segments =
        listing(container, d->segmentPath(path), marker, QStringLiteral("/"), 1000).array();
    bool all = true;
    for (const QJsonValue& value : segments) {
        const ListingObject segment(value.toObject());
        if (segment.isFolder())
            continue;
        try {
            simpleDelete(container, segment.name());
        } catch (const Exception::Base& e) {
            NorvikDebug("NKC").warning() << "Error on delete file part:" << segment.name() << e.message();
            all = false;
        }
    }
    return all;
}

// --- Static large objects -------------------------------------------------------------------

QByteArray CloudOpenStack::beginMultipartUpload(const QString&, const QString&,
                                                const QMap<QString, QVariant>& metaData)
{
    const QByteArray id = QUuid::createUuid().toByteArray();
    OpenStackMultipartFileMetaData::instance().add(id, metaData);
    return id;
}

QByteArray CloudOpenStack::uploadMultipart(const QString& container, const QString& path, const QByteArray&,
                                           quint64 partNumber, const QByteArray& data,
                                           const QUuid& operationId)
{
    return uploadSegment(container, path, partNumber, readOnlyBuffer(data), data.size(), operationId);
}

QByteArray CloudOpenStack::uploadMultipart(const QString& container, const QString& path, const QByteArray&,
                                           quint64 partNumber, QSharedPointer<QIODevice> device, qint64 size,
                                           const QUuid& operationId)
{
    return uploadSegment(container, path, partNumber, device, size, operationId);
}

QByteArray CloudOpenStack::uploadSegment(const QString& container, const QString& path, quint64 partNumber,
                                         QSharedPointer<QIODevice> device, qint64 size,
                                         const QUuid& operationId)
{
    HeaderMap headers;
    const HeaderMap answer = d->put(container, encoded(d->segmentUploadPath(path, partNumber)), QUrlQuery(),
                                    headers, device, size, operationId)
                                 .second;
    const MultipartListPartObjectOpenStack part(static_cast<quint64>(size), partNumber, answer.value("etag"));
    return QJsonDocument(part.json()).toJson();
}

QJsonObject CloudOpenStack::endMultipartUpload(const QString& container, const QString& path,
                                               const QByteArray& uploadId,
                                               const QList<QPair<quint64, QByteArray>>& parts)
{
    QJsonArray manifest;
    quint64 sum = 0;
    bool sizesKnown = true;
    for (const auto& entry : parts) {
        QJsonParseError error{};
        const QJsonDocument tag = QJsonDocument::fromJson(entry.second, &error);
        QJsonObject segment{
            {QStringLiteral("path"),
             QStringLiteral("%1%2").arg(container, d->segmentUploadPath(path, entry.first))},
        };
        if (error.error == QJsonParseError::NoError && tag.isObject()) {
            const MultipartListPartObject part(tag.object());
            segment.insert(QStringLiteral("etag"), QString::fromUtf8(part.eTag()));
            segment.insert(QStringLiteral("size_bytes"), QString::number(part.size()));
            sum += part.size();
        } else {
            // A part found already uploaded has the bare checksum as its tag: Swift finds
            // the size itself, and the object's size is asked afterwards.
            segment.insert(QStringLiteral("etag"), QString::fromUtf8(entry.second));
            segment.insert(QStringLiteral("size_bytes"), QJsonValue());
            sizesKnown = false;
        }
        manifest.append(segment);
    }

    HeaderMap headers = d->header(OpenStackMultipartFileMetaData::instance().get(uploadId));
    headers.insert("X-Static-Large-Object", "true");
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("multipart-manifest"), QStringLiteral("put"));
    const HeaderMap answer = d->put(container, encoded(path), query, headers,
                                    QJsonDocument(manifest).toJson(QJsonDocument::Compact))
                                 .second;
    OpenStackMultipartFileMetaData::instance().remove(uploadId);
    if (!sizesKnown) {
        HeaderMap none;
        sum =
            d->head(container, encoded(path), QUrlQuery(), none).second.value("content-length").toULongLong();
    }
    return ListingObjectOpenStack(path, sum, answer).json();
}

void CloudOpenStack::abortMultipartUpload(const QString& container, const QString& path,
                                          const QByteArray& uploadId)
{
    OpenStackMultipartFileMetaData::instance().remove(uploadId);
    removeSegments(container, path);
}

QJsonArray CloudOpenStack::listPartsMultipart(const QString& container, const QString& path,
                                              const QByteArray&, quint64& partSize)
{
    partSize = 0;
    QString marker;
    const QJsonArray segments =
        listing(container, d->segmentPath(path), marker, QStringLiteral("/"), 1000).array();
    QJsonArray parts;
    for (const QJsonValue& value : segments) {
        const ListingObject segment(value.toObject());
        const quint64 number = segmentNumber(segment.name());
        if (number == 0)
            continue;
        parts.append(MultipartListPartObjectOpenStack(segment.size(), number, segment.eTag()).json());
    }
    return parts;
}

QPair<bool, QByteArray> CloudOpenStack::checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                                        const QByteArray& data)
{
    return checkUploadPart(partNumber, parts, readOnlyBuffer(data), data.size());
}

QPair<bool, QByteArray> CloudOpenStack::checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                                        QSharedPointer<QIODevice> device, qint64 size)
{
    for (const QJsonValue& value : parts) {
        const MultipartListPartObject part(value.toObject());
        if (part.partNumber() != partNumber)
            continue;
        if (part.size() == static_cast<quint64>(size) &&
            calculateETag(device.data()) == part.eTag().toLower())
            return qMakePair(true, part.eTag());
        return qMakePair(false, QByteArray());
    }
    return qMakePair(false, QByteArray());
}

QByteArray CloudOpenStack::calculateETag(QIODevice* device)
{
    if (!device)
        return QByteArray();
    const qint64 position = device->pos();
    Core::Hash::Digest md5(Core::Hash::Algorithm::Md5);
    md5.addData(*device);
    device->seek(position);
    return md5.result().toHex();
}

// --- The rest -------------------------------------------------------------------------------

QMap<QByteArray, QByteArray> CloudOpenStack::header(const QString&, const QString&)
{
    throw Exception::UnsupportedOperation();
}

void CloudOpenStack::setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&)
{
    throw Exception::UnsupportedOperation();
}

QString CloudOpenStack::signUrl(const QString& container, const QString& path, bool useSsl,
                                const QDateTime& expires)
{
    return d->signUrl(container, path, useSsl, expires);
}

bool CloudOpenStack::createContainers(const QJsonObject& params)
{
    const ContainerParams::OpenStack container(params);
    if (!container.isValid()) {
        NorvikDebug("NKC").warning() << "Don't valide input params";
        NorvikDebug("NKC").debug() << "params:" << QJsonDocument(params).toJson(QJsonDocument::Compact);
        return false;
    }
    HeaderMap headers;
    d->put(QString(), QLatin1Char('/') + container.name(), QUrlQuery(), headers, QByteArray());
    return true;
}

bool CloudOpenStack::removeContainers(const QString&)
{
    return false;
}

QJsonDocument CloudOpenStack::containers()
{
    return d->containers();
}

QUrl CloudOpenStack::endpoint() const
{
    return d->endpoint();
}

void CloudOpenStack::setEndpoint(const QUrl& endpoint)
{
    d->setEndpoint(endpoint);
}

QString CloudOpenStack::RFC1738_encode(const QString& text, bool flag)
{
    static const char hex[] = "0123456789ABCDEF";
    QString result;
    const QByteArray bytes = text.toUtf8();
    result.reserve(bytes.size() * 3);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const bool alphanumeric =
            (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9');
        bool keep = alphanumeric || byte == '!' || byte == '$' || byte == '_' || (byte >= 39 && byte <= 47);
        if (flag && (byte == '+' || byte == '/'))
            keep = false;
        if (keep) {
            result.append(QLatin1Char(c));
            continue;
        }
        if (!flag)
            result.append(QLatin1Char('%'));
        result.append(QLatin1Char(hex[byte >> 4])).append(QLatin1Char(hex[byte & 0x0F]));
    }
    return result;
}

// --- Upload metadata store and provider classes ---------------------------------------------

OpenStackMultipartFileMetaData& OpenStackMultipartFileMetaData::instance()
{
    static OpenStackMultipartFileMetaData store;
    return store;
}

void OpenStackMultipartFileMetaData::add(const QByteArray& uploadId, const QMap<QString, QVariant>& metaData)
{
    QMutexLocker lock(&m_mutex);
    m_metaData.insert(uploadId, metaData);
}

QMap<QString, QVariant> OpenStackMultipartFileMetaData::get(const QByteArray& uploadId) const
{
    QMutexLocker lock(&m_mutex);
    return m_metaData.value(uploadId);
}

void OpenStackMultipartFileMetaData::remove(const QByteArray& uploadId)
{
    QMutexLocker lock(&m_mutex);
    m_metaData.remove(uploadId);
}

CloudOracle::CloudOracle()
    : CloudOpenStack(Type::OracleCloud)
{
}

CloudRackspace::CloudRackspace()
    : CloudOpenStack(Type::Rackspace)
{
}

CloudSoftLayer::CloudSoftLayer()
    : CloudOpenStack(Type::SoftLayer)
{
}

CloudHPCloud::CloudHPCloud()
    : CloudOpenStack(Type::HPCloud)
{
}

} // namespace Norvik::Cloud::Api
