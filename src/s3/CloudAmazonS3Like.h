#pragma once

#include "connection/CloudHttp.h"
#include "info/AmazonS3LikeInfo.h"

#include <QCoreApplication>

#include <memory>

namespace Norvik::Cloud::Api {

class CloudAmazonS3LikePrivate;

// The connection of the S3 protocol, used as it is by every S3-compatible service whose
// differences are data of its descriptor (Info::AmazonS3Like and subclasses).
//
// Object names arrive as the application's paths, with a leading "/", and stay so in every
// result; the "/" is taken off at the wire where S3 wants a key without it. Requests go
// through the verbs of CloudAmazonS3LikePrivate, which choose the endpoint, sign and retry.
class CloudAmazonS3Like : public CloudHttp
{
    Q_DECLARE_TR_FUNCTIONS(CloudAmazonS3Like)

public:
    explicit CloudAmazonS3Like(Type type);
    // Takes over d, the private object of a subclass's own kind.
    CloudAmazonS3Like(Type type, CloudAmazonS3LikePrivate* d);
    ~CloudAmazonS3Like() override;

    // Refused for an empty map, without "AccessKey" or "SecretKey", or without an endpoint.
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // With signature version 4 and no "Region" in config, asks the service for the bucket's
    // region and stores it in config; then takes config. Throws InvalidArgument when the
    // resulting configuration is refused.
    void checkConfig(const QString& bucket, QMap<QString, QVariant>& config) override;
    // One page of objects; a service that reports versions lists versions, with a marker of
    // its own form (see ListingMarker).
    QJsonDocument listing(const QString& bucket, const QString& prefix, QString& marker,
                          const QString& delimiter, quint16 maxKeys) override;
    QJsonObject upload(const QString& bucket, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    QJsonObject upload(const QString& bucket, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    // Does nothing for a device that is not writable.
    void download(const QString& bucket, const QString& path, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // A missing object counts as deleted.
    bool delete_(const QString& bucket, const QJsonObject& object) override;
    // Throws UnsupportedOperation: only services that offer batch deletes override it.
    QJsonArray delete_(const QString& bucket, const QJsonArray& objects) override;
    QByteArray beginMultipartUpload(const QString& bucket, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& bucket, const QString& path, const QByteArray& uploadId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    QByteArray uploadMultipart(const QString& bucket, const QString& path, const QByteArray& uploadId,
                               quint64 partNumber, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& bucket, const QString& path, const QByteArray& uploadId,
                               quint64 partNumber, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    // The service's empty answer (204) is success; an unknown upload id throws
    // MultipartInvalidUploadId.
    void abortMultipartUpload(const QString& bucket, const QString& path,
                              const QByteArray& uploadId) override;
    // One page of the parts of an upload; marker is the part number to continue after, and 0
    // when no page follows. An unknown upload id gives an empty array: the caller starts over.
    QJsonArray listPartsMultipart(const QString& bucket, const QString& path, const QByteArray& uploadId,
                                  quint64& marker) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                            const QByteArray& data) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                            QSharedPointer<QIODevice> device, qint64 size) override;
    // The bytes from position to position + size, both included.
    QByteArray download(const QString& bucket, const QString& path, qint64 position, qint64 size,
                        QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    void download(const QString& bucket, const QString& path, qint64 position, qint64 size, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    QMap<QByteArray, QByteArray> header(const QString& bucket, const QString& path) override;
    // S3 cannot change an object's metadata in place: nothing is sent.
    void setHeader(const QString& bucket, const QString& path,
                   const QMap<QByteArray, QByteArray>& headers) override;
    QString signUrl(const QString& bucket, const QString& path, bool useSsl,
                    const QDateTime& expires) override;
    bool createContainers(const QJsonObject& params) override;
    bool removeContainers(const QString& bucket) override;
    QJsonDocument containers() override;
    QUrl endpoint() const override;
    void setEndpoint(const QUrl& endpoint) override;
    QUrl defaultEndpoint() const override;
    virtual QList<Info::AmazonS3Like::Signature> supportSignature() const;
    // 0 with signature version 2, which the batch delete is not used with.
    quint64 maxDeleteCount() const override;
    // Deletes up to the descriptor's maxDeleteCount() objects in one request; returns the
    // objects that stayed, as delete error objects.
    virtual QJsonArray deleteMultiple(const QString& bucket, const QJsonArray& objects);
    virtual QJsonDocument listingWithVersions(const QString& bucket, const QString& prefix, QString& marker,
                                              const QString& delimiter, quint16 maxKeys);
    virtual QJsonDocument listingObjects(const QString& bucket, const QString& prefix, QString& marker,
                                         const QString& delimiter, quint16 maxKeys);

    // The region that the bucket lives in, as the service names it.
    QString checkBucketRegion(QString bucket);
    // The tag that S3 services give data uploaded in one piece: the MD5 of the device from its
    // position to its end, in lower-case hexadecimal between double quotes. The position is
    // left where it was. Empty for a null device.
    static QByteArray calculateETag(QIODevice* device);

protected:
    std::unique_ptr<CloudAmazonS3LikePrivate> d;
};

} // namespace Norvik::Cloud::Api
