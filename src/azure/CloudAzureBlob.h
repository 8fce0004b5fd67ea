#pragma once

#include "connection/CloudHttp.h"
#include "connection/IArchive.h"

#include <QCoreApplication>

#include <memory>

namespace Norvik::Cloud::Api {

class CloudAzureBlobPrivate;

// The connection of the Azure Blob service, with SharedKey signatures.
//
// Multipart uploads are block blobs: each part is an uncommitted block whose id carries the
// part number and the MD5 of its data, and the end of the upload commits the block list. The
// upload id is derived from the path, so a restarted upload finds its earlier blocks. The
// archive tier is the blob's access tier: a restore sets it to Hot, and the end of the restore
// sets it back to Archive.
class CloudAzureBlob : public CloudHttp, public IArchive
{
    Q_DECLARE_TR_FUNCTIONS(CloudAzureBlob)

public:
    enum class StorageClass
    {
        Default = 0,
        Hot = 1,
        Cool = 2,
        Archive = 3
    };

    CloudAzureBlob();
    ~CloudAzureBlob() override;

    // Refused for an empty map, without "Username" or "Password", or for the account type
    // "AzureStack" without an endpoint. The account type chooses the endpoint otherwise.
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
    // The service's 202 is success; a missing blob throws NoContent.
    bool delete_(const QString& container, const QJsonObject& object) override;
    // Throws UnsupportedOperation.
    QJsonArray delete_(const QString& container, const QJsonArray& objects) override;
    // Sends nothing: keeps the metadata for the block list and returns an id made from path.
    QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& container, const QString& path, const QByteArray& uploadId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    // The result is the block's id.
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    // Does nothing: the service drops uncommitted blocks by itself.
    void abortMultipartUpload(const QString& container, const QString& path,
                              const QByteArray& uploadId) override;
    // Committed blocks first, then uncommitted ones. partSize is not touched.
    QJsonArray listPartsMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                                  quint64& partSize) override;
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
    // One page of containers.
    QJsonDocument containers() override;

    // Hot: the blob becomes readable (at once, or after the service's rehydration).
    void prepareForDownload(const QString& container, const QString& path,
                            const QJsonObject& options) override;
    // True unless the blob's access tier is still Archive.
    bool checkReadyForDownload(const QString& container, const QString& path) override;
    // Back to Archive.
    void finalizeDownloaded(const QString& container, const QString& path) override;

    QUrl endpoint() const override;
    void setEndpoint(const QUrl& endpoint) override;
    QUrl defaultEndpoint() const override;

    // Sends the tier for Hot, Cool and Archive; Default sends nothing.
    void setBlobTier(const QString& container, const QString& path, StorageClass storageClass);

    // Percent-encoding of container names, the same as for paths.
    static QString toUTF8String(const QString& text);
    static QString encod(QChar c);

private:
    std::unique_ptr<CloudAzureBlobPrivate> d;
};

} // namespace Norvik::Cloud::Api
