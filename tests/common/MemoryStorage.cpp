#include "MemoryStorage.h"

#include "connection/ListingObject.h"
#include "connection/MultipartListPartObject.h"

#include <QCryptographicHash>
#include <QIODevice>
#include <QJsonArray>

namespace Api = Norvik::Cloud::Api;
namespace Exception = Norvik::Cloud::Api::Exception;

MemoryStorage::MemoryStorage()
    : IConnection(Norvik::Cloud::Type::AmazonS3)
{
}

QByteArray MemoryStorage::tagOf(const QByteArray& data)
{
    return '"' + QCryptographicHash::hash(data, QCryptographicHash::Md5).toHex() + '"';
}

void MemoryStorage::checkConfig(const QString&, QMap<QString, QVariant>&) {}

QJsonObject MemoryStorage::upload(const QString&, const QString& path, const QMap<QString, QVariant>&,
                                  const QByteArray& data, const QUuid&)
{
    objects.insert(path, data);
    return Api::ListingObject(path, QDateTime::currentDateTimeUtc(), quint64(data.size()), {}, tagOf(data),
                              false)
        .json();
}

QJsonObject MemoryStorage::upload(const QString& container, const QString& path,
                                  const QMap<QString, QVariant>& metaData, QSharedPointer<QIODevice> device,
                                  qint64 size, const QUuid& operationId)
{
    return upload(container, path, metaData, readPart(*device, size), operationId);
}

QByteArray MemoryStorage::beginMultipartUpload(const QString&, const QString& path,
                                               const QMap<QString, QVariant>&)
{
    const QByteArray id = "upload-" + QByteArray::number(++m_nextUpload);
    uploads.insert(id, {path, {}});
    return id;
}

QJsonObject MemoryStorage::endMultipartUpload(const QString&, const QString& path, const QByteArray& uploadId,
                                              const QList<QPair<quint64, QByteArray>>& parts)
{
    const auto entry = uploads.constFind(uploadId);
    if (entry == uploads.constEnd())
        throw Exception::MultipartInvalidUploadId({}, QStringLiteral("No such upload"));
    QByteArray data;
    for (const auto& part : parts) {
        const QByteArray stored = entry->parts.value(part.first);
        if (tagOf(stored) != part.second)
            throw Exception::MultipartUploadError({},
                                                  QStringLiteral("Part %1 does not match").arg(part.first));
        data += stored;
    }
    uploads.remove(uploadId);
    return upload(QString(), path, {}, data, QUuid());
}

QByteArray MemoryStorage::uploadMultipart(const QString&, const QString&, const QByteArray& uploadId,
                                          quint64 partId, const QByteArray& data, const QUuid&)
{
    const auto entry = uploads.find(uploadId);
    if (entry == uploads.end())
        throw Exception::MultipartInvalidUploadId({}, QStringLiteral("No such upload"));
    if (beforePart)
        beforePart(partId);
    entry->parts.insert(partId, data);
    return tagOf(data);
}

QByteArray MemoryStorage::uploadMultipart(const QString& container, const QString& path,
                                          const QByteArray& uploadId, quint64 partId,
                                          QSharedPointer<QIODevice> device, qint64 size,
                                          const QUuid& operationId)
{
    return uploadMultipart(container, path, uploadId, partId, readPart(*device, size), operationId);
}

void MemoryStorage::abortMultipartUpload(const QString&, const QString&, const QByteArray& uploadId)
{
    uploads.remove(uploadId);
}

QJsonArray MemoryStorage::listPartsMultipart(const QString&, const QString&, const QByteArray& uploadId,
                                             quint64& partSize)
{
    ++listCalls;
    const auto entry = uploads.constFind(uploadId);
    if (entry == uploads.constEnd())
        throw Exception::MultipartInvalidUploadId({}, QStringLiteral("The specified upload does not exist"));
    // The marker is the index of the first part of the next page, 0 after the last page.
    const QList<quint64> numbers = entry->parts.keys();
    const int first = static_cast<int>(partSize);
    const int end = std::min(first + 2, static_cast<int>(numbers.size()));
    QJsonArray page;
    for (int i = first; i < end; ++i) {
        Api::MultipartListPartObject part;
        part.setPartNumber(numbers.at(i));
        part.setSize(quint64(entry->parts.value(numbers.at(i)).size()));
        part.setEtag(tagOf(entry->parts.value(numbers.at(i))));
        page.append(part.json());
    }
    if (markerStuck && first > 0)
        return page;
    partSize = end < numbers.size() ? quint64(end) : 0;
    return page;
}

QByteArray MemoryStorage::readPart(QIODevice& device, qint64 size)
{
    // The job hands over a device positioned at the part's start; leave it as it was found.
    const qint64 start = device.pos();
    const QByteArray data = device.read(size);
    device.seek(start);
    return data;
}
