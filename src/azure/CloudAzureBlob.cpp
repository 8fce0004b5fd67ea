#include "azure/CloudAzureBlob.h"

#include "azure/AzureBlobMultipartFileMetaData.h"
#include "azure/AzureBlobRecords.h"
#include "azure/CloudAzureBlobPrivate.h"

#include "connection/CloudPrivateFactory.h"
#include "connection/Exception.h"
#include "info/AzureBlobInfo.h"
#include "info/Config.h"
#include "operations/ContainerParams.h"

#include <NorvikCore/Hash.h>
#include <NorvikCore/NorvikDebug.h>

#include <QBuffer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>
#include <QXmlStreamWriter>

namespace Norvik::Cloud::Api {

namespace {

using HeaderMap = CloudAzureBlobPrivate::HeaderMap;
namespace AzureConfig = Norvik::Cloud::Config::AzureBlob;

// The verbs put the container in front of the path: without its "/" an object's name would
// run into the container's, and the data would land in another container.
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

QUrlQuery queryOf(std::initializer_list<QPair<QString, QString>> items)
{
    QUrlQuery query;
    for (const auto& item : items)
        addItem(query, item.first, item.second);
    return query;
}

// The MD5 of size bytes of device from its position, which is left where it was.
QByteArray md5OfPart(QIODevice& device, qint64 size)
{
    const qint64 position = device.pos();
    Core::Hash::Digest digest(Core::Hash::Algorithm::Md5);
    digest.addData(device, size);
    device.seek(position);
    return digest.result();
}

// The URL that names an uploaded object in its record: the path as it was given, whatever
// characters a URL would have to encode.
QUrl pathUrl(const QString& path)
{
    QUrl url;
    url.setPath(path);
    return url;
}

bool isAccepted(const Exception::Operation& e)
{
    return e.code() == 202;
}

} // namespace

CloudAzureBlob::CloudAzureBlob()
    : CloudHttp(Type::AzureBlob)
    , d(CloudPrivateFactory::instance().createAzureBlob())
{
    useSsl = true;
}

CloudAzureBlob::~CloudAzureBlob() = default;

QString CloudAzureBlob::toUTF8String(const QString& text)
{
    return CloudAzureBlobPrivate::toUTF8String(text);
}

QString CloudAzureBlob::encod(QChar c)
{
    return CloudAzureBlobPrivate::encod(c);
}

bool CloudAzureBlob::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").debug() << "Cloud config is empty";
        return false;
    }
    if (!d->setConfig(config))
        return false;

    QMap<QString, QVariant> copy = config;
    namespace Account = AzureConfig::AccountTypes;
    if (config.contains(Account::Key)) {
        const QString type = config.value(Account::Key).toString();
        if (type == Account::Value::Public) {
            copy.remove(Config::Http::Endpoint);
        } else if (type == Account::Value::Germany || type == Account::Value::China ||
                   type == Account::Value::Government) {
            copy.insert(Config::Http::Endpoint, Info::AzureBlob().accountTypeEndpoint().value(type));
        } else if (type == Account::Value::AzureStack && !config.contains(Config::Http::Endpoint)) {
            NorvikDebug("NKC").error() << "Endpoint for AzureStack account type is empty!";
            return false;
        }
    }
    return CloudHttp::setConfig(copy);
}

void CloudAzureBlob::checkConfig(const QString&, QMap<QString, QVariant>&)
{
    NorvikDebug("NKC").debug() << Q_FUNC_INFO << "this function dont support... sorry...";
}

QUrl CloudAzureBlob::endpoint() const
{
    return d->endpoint();
}

void CloudAzureBlob::setEndpoint(const QUrl& endpoint)
{
    d->setEndpoint(endpoint);
}

QUrl CloudAzureBlob::defaultEndpoint() const
{
    return Info::AzureBlob().defaultEndpoint();
}

// --- Listings ---------------------------------------------------------------------------

QJsonDocument CloudAzureBlob::listing(const QString& container, const QString& prefix, QString& marker,
                                      const QString& delimiter, quint16 maxKeys)
{
    // Items sorted by key: they enter the signature in this order.
    QUrlQuery query;
    addItem(query, QStringLiteral("comp"), QStringLiteral("list"));
    if (!delimiter.isEmpty())
        addItem(query, QStringLiteral("delimiter"), delimiter);
    if (!marker.isEmpty())
        addItem(query, QStringLiteral("marker"), marker);
    addItem(query, QStringLiteral("maxresults"), QString::number(maxKeys));
    if (!prefix.isEmpty())
        addItem(query, QStringLiteral("prefix"),
                prefix.startsWith(QLatin1Char('/')) ? prefix.mid(1) : prefix);
    addItem(query, QStringLiteral("restype"), QStringLiteral("container"));

    HeaderMap headers{{"Content-Type", "text/html"}};
    QByteArray body;
    d->get(container, QString(), query, headers, body);
    return QJsonDocument(AzureBlobXml::parseListing(body, marker));
}

QJsonDocument CloudAzureBlob::containers()
{
    HeaderMap headers{{"Content-Type", "text/html"}};
    QByteArray body;
    d->get(QString(), QStringLiteral("/"), queryOf({{QStringLiteral("comp"), QStringLiteral("list")}}),
           headers, body);
    return QJsonDocument(AzureBlobXml::parseContainers(body));
}

bool CloudAzureBlob::createContainers(const QJsonObject& params)
{
    const ContainerParams::AzureBlob container(params);
    if (!container.isValid()) {
        NorvikDebug("NKC").warning() << "Don't valide input params";
        NorvikDebug("NKC").debug() << "params:" << QJsonDocument(params).toJson();
        return false;
    }
    HeaderMap headers{{"Content-Type", "text/html"}};
    if (!container.accessType().isEmpty())
        headers.insert("x-ms-blob-public-access", container.accessType().toUtf8());
    d->put(QString(), QLatin1Char('/') + toUTF8String(container.name()),
           queryOf({{QStringLiteral("restype"), QStringLiteral("container")}}), headers, QByteArray());
    return true;
}

bool CloudAzureBlob::removeContainers(const QString& container)
{
    HeaderMap headers{{"Content-Type", "text/html"}};
    try {
        d->delete_(QString(), QLatin1Char('/') + toUTF8String(container),
                   queryOf({{QStringLiteral("restype"), QStringLiteral("container")}}), headers);
    } catch (const Exception::Operation& e) {
        if (!isAccepted(e))
            throw;
    }
    return true;
}

// --- Objects ----------------------------------------------------------------------------

QJsonObject CloudAzureBlob::upload(const QString& container, const QString& path,
                                   const QMap<QString, QVariant>& metaData, const QByteArray& data,
                                   const QUuid& operationId)
{
    auto device = QSharedPointer<QBuffer>::create();
    device->setData(data);
    device->open(QIODevice::ReadOnly);
    return upload(container, path, metaData, device, data.size(), operationId);
}

QJsonObject CloudAzureBlob::upload(const QString& container, const QString& path,
                                   const QMap<QString, QVariant>& metaData, QSharedPointer<QIODevice> device,
                                   qint64 size, const QUuid& operationId)
{
    HeaderMap headers = d->header(metaData);
    headers.insert("x-ms-blob-type", "BlockBlob");
    const auto response =
        d->put(container, objectPath(path), QUrlQuery(), headers, device, size, operationId);
    setBlobTier(container, path, d->storageClass());
    return ListingObjectAzureBlob(pathUrl(path), quint64(size), response.second).json();
}

void CloudAzureBlob::download(const QString& container, const QString& path, QIODevice& out,
                              QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    HeaderMap headers;
    const auto response = d->get(container, objectPath(path), QUrlQuery(), headers, &out, operationId);
    metaData = d->metaDataFromHeader(response.second);
}

QByteArray CloudAzureBlob::download(const QString& container, const QString& path, qint64 position,
                                    qint64 size, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    HeaderMap headers{
        {"x-ms-range", QStringLiteral("bytes=%1-%2").arg(position).arg(position + size).toUtf8()}};
    QByteArray data;
    const auto response = d->get(container, objectPath(path), QUrlQuery(), headers, data, operationId);
    metaData = d->metaDataFromHeader(response.second);
    return data;
}

void CloudAzureBlob::download(const QString& container, const QString& path, qint64 position, qint64 size,
                              QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    HeaderMap headers{
        {"x-ms-range", QStringLiteral("bytes=%1-%2").arg(position).arg(position + size).toUtf8()}};
    const auto response = d->get(container, objectPath(path), QUrlQuery(), headers, &out, operationId);
    metaData = d->metaDataFromHeader(response.second);
}

bool CloudAzureBlob::delete_(const QString& container, const QJsonObject& object)
{
    HeaderMap headers{{"Content-Type", "text/html"}};
    try {
        d->delete_(container, objectPath(ListingObject(object).name()), QUrlQuery(), headers);
    } catch (const Exception::Operation& e) {
        // The service answers a deletion with 202, which the transport reports as an error.
        if (!isAccepted(e))
            throw;
    }
    return true;
}

QJsonArray CloudAzureBlob::delete_(const QString&, const QJsonArray&)
{
    throw Exception::UnsupportedOperation();
}

QMap<QByteArray, QByteArray> CloudAzureBlob::header(const QString& container, const QString& path)
{
    HeaderMap headers;
    return d->head(container, objectPath(path), QUrlQuery(), headers).second;
}

void CloudAzureBlob::setHeader(const QString&, const QString&, const QMap<QByteArray, QByteArray>&)
{
    throw Exception::UnsupportedOperation();
}

QString CloudAzureBlob::signUrl(const QString& container, const QString& path, bool useSsl,
                                const QDateTime& expires)
{
    return d->signUrl(container, path.isEmpty() ? path : objectPath(path), useSsl, expires);
}

// --- Multipart uploads ------------------------------------------------------------------

QByteArray CloudAzureBlob::beginMultipartUpload(const QString&, const QString& path,
                                                const QMap<QString, QVariant>& metaData)
{
    const QByteArray uploadId =
        Core::Hash::Digest::hash(path.toUtf8(), Core::Hash::Algorithm::Md5).toBase64();
    AzureBlobMultipartFileMetaData::instance().add(uploadId, metaData);
    return uploadId;
}

QByteArray CloudAzureBlob::uploadMultipart(const QString& container, const QString& path,
                                           const QByteArray& uploadId, quint64 partId, const QByteArray& data,
                                           const QUuid& operationId)
{
    auto device = QSharedPointer<QBuffer>::create();
    device->setData(data);
    device->open(QIODevice::ReadOnly);
    return uploadMultipart(container, path, uploadId, partId, device, data.size(), operationId);
}

QByteArray CloudAzureBlob::uploadMultipart(const QString& container, const QString& path, const QByteArray&,
                                           quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                                           const QUuid& operationId)
{
    if (!device->isOpen() && !device->open(QIODevice::ReadOnly)) {
        NorvikDebug("NKC").error() << "Error on open data stream... for multipart upload";
        throw Exception::InvalidData(QByteArray());
    }
    // The id carries the hash, so a restarted upload can tell a block it may keep.
    const QByteArray blockId = UploudBlockId(partId, md5OfPart(*device, size))();
    HeaderMap headers;
    d->put(container, objectPath(path),
           queryOf({{QStringLiteral("blockid"), QString::fromLatin1(blockId)},
                    {QStringLiteral("comp"), QStringLiteral("block")}}),
           headers, device, size, operationId);
    return blockId;
}

QJsonObject CloudAzureBlob::endMultipartUpload(const QString& container, const QString& path,
                                               const QByteArray& uploadId,
                                               const QList<QPair<quint64, QByteArray>>& parts)
{
    QByteArray document;
    QXmlStreamWriter writer(&document);
    writer.writeStartDocument();
    writer.writeStartElement(QStringLiteral("BlockList"));
    for (const auto& part : parts)
        writer.writeTextElement(QStringLiteral("Latest"), QString::fromLatin1(part.second));
    writer.writeEndElement();
    writer.writeEndDocument();

    HeaderMap headers = d->header(AzureBlobMultipartFileMetaData::instance().get(uploadId));
    const auto response =
        d->put(container, objectPath(path), queryOf({{QStringLiteral("comp"), QStringLiteral("blocklist")}}),
               headers, document);
    AzureBlobMultipartFileMetaData::instance().remove(uploadId);
    setBlobTier(container, path, d->storageClass());
    return ListingObjectAzureBlob(pathUrl(path), response.second).json();
}

void CloudAzureBlob::abortMultipartUpload(const QString&, const QString&, const QByteArray&) {}

QJsonArray CloudAzureBlob::listPartsMultipart(const QString& container, const QString& path,
                                              const QByteArray&, quint64&)
{
    HeaderMap headers;
    QByteArray body;
    try {
        d->get(container, objectPath(path),
               queryOf({{QStringLiteral("blocklisttype"), QStringLiteral("all")},
                        {QStringLiteral("comp"), QStringLiteral("blocklist")}}),
               headers, body);
    } catch (const Exception::NoContent&) {
        // No block reached the service yet: nothing to keep, the upload starts over.
        return QJsonArray();
    }
    return AzureBlobXml::parseBlockList(body);
}

QPair<bool, QByteArray> CloudAzureBlob::checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                        const QByteArray& data)
{
    auto device = QSharedPointer<QBuffer>::create();
    device->setData(data);
    device->open(QIODevice::ReadOnly);
    return checkUploadPart(partId, parts, device, data.size());
}

QPair<bool, QByteArray> CloudAzureBlob::checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                        QSharedPointer<QIODevice> device, qint64 size)
{
    for (const QJsonValue& value : parts) {
        const MultipartListPartObject part(value.toObject());
        if (part.partNumber() != partId)
            continue;
        if (part.size() != quint64(size))
            return qMakePair(false, QByteArray());
        if (!device->isOpen() && !device->open(QIODevice::ReadOnly))
            return qMakePair(false, QByteArray());
        const QByteArray hash = md5OfPart(*device, size);
        if (hash == QByteArray::fromHex(part.eTag()))
            return qMakePair(true, UploudBlockId(partId, hash)());
        return qMakePair(false, QByteArray());
    }
    return qMakePair(false, QByteArray());
}

// --- Access tiers -----------------------------------------------------------------------

void CloudAzureBlob::setBlobTier(const QString& container, const QString& path, StorageClass storageClass)
{
    static const char* const names[] = {nullptr, "Hot", "Cool", "Archive"};
    if (storageClass == StorageClass::Default) {
        NorvikDebug("NKC").debug() << "Use default blob tier for container:" << container << "path:" << path;
        return;
    }
    HeaderMap headers{{"x-ms-access-tier", names[int(storageClass)]}};
    d->put(container, objectPath(path), queryOf({{QStringLiteral("comp"), QStringLiteral("tier")}}), headers,
           QByteArray());
}

void CloudAzureBlob::prepareForDownload(const QString& container, const QString& path, const QJsonObject&)
{
    setBlobTier(container, path, StorageClass::Hot);
}

bool CloudAzureBlob::checkReadyForDownload(const QString& container, const QString& path)
{
    HeaderMap headers;
    const QByteArray tier =
        d->head(container, objectPath(path), QUrlQuery(), headers).second.value("x-ms-access-tier");
    NorvikDebug("NKC").debug() << "x-ms-access-tier:" << tier;
    return tier != "Archive";
}

void CloudAzureBlob::finalizeDownloaded(const QString& container, const QString& path)
{
    setBlobTier(container, path, StorageClass::Archive);
}

} // namespace Norvik::Cloud::Api
