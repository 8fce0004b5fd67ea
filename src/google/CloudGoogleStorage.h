#pragma once

#include "connection/CloudHttp.h"

#include <QCoreApplication>

#include <memory>

namespace Norvik::Cloud::Api {

class CloudGoogleStoragePrivate;

// The connection of Google Cloud Storage over its XML interface: buckets, objects and the
// multipart upload with "uploads", "uploadId" and "partNumber". An interrupted multipart
// upload starts over: its parts are not listed.
class CloudGoogleStorage : public CloudHttp
{
    Q_DECLARE_TR_FUNCTIONS(CloudGoogleStorage)

public:
    CloudGoogleStorage();
    ~CloudGoogleStorage() override;

    // Refused for an empty map or when the credentials of "AuthType" are incomplete.
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // Nothing to prove here: the first request shows whether the key works.
    void checkConfig(const QString& container, QMap<QString, QVariant>& config) override;
    QJsonDocument listing(const QString& container, const QString& prefix, QString& marker,
                          const QString& delimiter, quint16 maxKeys) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // Success also when the object was already gone.
    bool delete_(const QString& container, const QJsonObject& object) override;
    // Throws UnsupportedOperation.
    QJsonArray delete_(const QString& container, const QJsonArray& objects) override;
    // The service's upload id.
    QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& container, const QString& path, const QByteArray& uploadId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    // The result is the part's tag; an answer without one throws InvalidData.
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    // Does nothing.
    void abortMultipartUpload(const QString& container, const QString& path,
                              const QByteArray& uploadId) override;
    // Always empty: an interrupted upload sends all its parts again.
    QJsonArray listPartsMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                                  quint64& partSize) override;
    // False with an empty tag: no part is ever kept.
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            const QByteArray& data) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            QSharedPointer<QIODevice> device, qint64 size) override;
    // The bytes from position to position + size, both included.
    QByteArray download(const QString& container, const QString& path, qint64 position, qint64 size,
                        QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, qint64 position, qint64 size, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    QMap<QByteArray, QByteArray> header(const QString& container, const QString& path) override;
    // Throws UnsupportedOperation.
    void setHeader(const QString& container, const QString& path,
                   const QMap<QByteArray, QByteArray>& headers) override;
    QString signUrl(const QString& container, const QString& path, bool useSsl,
                    const QDateTime& expires) override;
    bool createContainers(const QJsonObject& params) override;
    bool removeContainers(const QString& container) override;
    // The buckets of the project.
    QJsonDocument containers() override;

    QUrl endpoint() const override;
    void setEndpoint(const QUrl& endpoint) override;
    QUrl defaultEndpoint() const override;

private:
    std::unique_ptr<CloudGoogleStoragePrivate> d;
};

} // namespace Norvik::Cloud::Api
