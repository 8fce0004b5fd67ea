#pragma once

#include "info/CloudType.h"

#include <QByteArray>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUuid>
#include <QVariant>

class QIODevice;

namespace Norvik::Cloud::Info {
class Base;
}

namespace Norvik::Cloud::Api {

// A connection talks to one storage service for one configuration. It is made by the connection
// factory, configured once with setConfig() and then used by the one job thread that owns it.
// Failures are thrown as members of Api::Exception; an operation the storage does not have
// throws Exception::UnsupportedOperation.
//
// In the operations below, container is the bucket or container name, path the object's path
// in it, metaData the object metadata map (keys of CloudFileMetaData), and operationId the
// operation whose progress the transfer reports. Ranged downloads take the first offset and
// the count of bytes less one.
class IConnection
{
public:
    explicit IConnection(Type type);
    IConnection(const IConnection&) = delete;
    IConnection& operator=(const IConnection&) = delete;

    Type type() const { return m_type; }
    // The configuration's "CloudId"; job threads compare it to reuse the connection.
    const QUuid& id() const { return m_id; }

    // Limits and capabilities, as the descriptor of this storage type states them.
    bool supportEmptyFolder() const;
    quint64 minimumChunkSize() const;
    quint64 maximumChunkSize() const;
    quint64 maximumChunkCount() const;
    bool supportMultypartThread() const;

    // False when "CloudId" is missing. Overrides call this one and read their own keys.
    virtual bool setConfig(const QMap<QString, QVariant>& config);
    virtual ~IConnection();

    // Proves that the configuration works; throws otherwise. May complete config.
    virtual void checkConfig(const QString& container, QMap<QString, QVariant>& config) = 0;
    // One page of listing objects. marker is read and replaced by the next page's marker,
    // which is empty after the last page.
    virtual QJsonDocument listing(const QString& container, const QString& prefix, QString& marker,
                                  const QString& delimiter, quint16 maxCount) = 0;
    // Whole objects; both return the listing object of the new object.
    virtual QJsonObject upload(const QString& container, const QString& path,
                               const QMap<QString, QVariant>& metaData, const QByteArray& data,
                               const QUuid& operationId) = 0;
    virtual QJsonObject upload(const QString& container, const QString& path,
                               const QMap<QString, QVariant>& metaData, QSharedPointer<QIODevice> device,
                               qint64 size, const QUuid& operationId) = 0;
    virtual void download(const QString& container, const QString& path, QIODevice& out,
                          QMap<QString, QVariant>& metaData, const QUuid& operationId) = 0;
    // One object, given as its listing object.
    virtual bool delete_(const QString& container, const QJsonObject& object) = 0;
    // Several objects; returns the delete error objects of those that stayed.
    virtual QJsonArray delete_(const QString& container, const QJsonArray& objects) = 0;
    // Returns the upload's id.
    virtual QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                            const QMap<QString, QVariant>& metaData) = 0;
    // parts pairs each part number with the tag that uploadMultipart returned for it.
    virtual QJsonObject endMultipartUpload(const QString& container, const QString& path,
                                           const QByteArray& uploadId,
                                           const QList<QPair<quint64, QByteArray>>& parts) = 0;
    // Both return the part's tag.
    virtual QByteArray uploadMultipart(const QString& container, const QString& path,
                                       const QByteArray& uploadId, quint64 partId, const QByteArray& data,
                                       const QUuid& operationId) = 0;
    virtual QByteArray uploadMultipart(const QString& container, const QString& path,
                                       const QByteArray& uploadId, quint64 partId,
                                       QSharedPointer<QIODevice> device, qint64 size,
                                       const QUuid& operationId) = 0;
    virtual void abortMultipartUpload(const QString& container, const QString& path,
                                      const QByteArray& uploadId) = 0;
    // The parts of an upload begun earlier, as part objects.
    virtual QJsonArray listPartsMultipart(const QString& container, const QString& path,
                                          const QByteArray& uploadId, quint64& partSize) = 0;
    // True and the part's tag when parts shows the part as uploaded with this very content.
    virtual QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                    const QByteArray& data) = 0;
    virtual QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                    QSharedPointer<QIODevice> device, qint64 size) = 0;
    virtual QByteArray download(const QString& container, const QString& path, qint64 position, qint64 size,
                                QMap<QString, QVariant>& metaData, const QUuid& operationId) = 0;
    virtual void download(const QString& container, const QString& path, qint64 position, qint64 size,
                          QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId) = 0;
    // An object's headers without its content.
    virtual QMap<QByteArray, QByteArray> header(const QString& container, const QString& path) = 0;
    // Rewrites an object's metadata.
    virtual void setHeader(const QString& container, const QString& path,
                           const QMap<QByteArray, QByteArray>& headers) = 0;
    virtual QString signUrl(const QString& container, const QString& path, bool useSsl,
                            const QDateTime& expires) = 0;
    // Objects in one batch delete; 0 when this connection has no batch delete. The
    // descriptor's value unless the connection's own settings rule batches out.
    virtual quint64 maxDeleteCount() const;

protected:
    const QSharedPointer<Info::Base>& info() const { return m_info; }

private:
    Type m_type;
    // Null for a type that has no descriptor; the delegating getters then answer like a
    // storage without capabilities.
    QSharedPointer<Info::Base> m_info;
    QUuid m_id;
};

} // namespace Norvik::Cloud::Api
