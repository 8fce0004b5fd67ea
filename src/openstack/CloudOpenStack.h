#pragma once

#include "connection/CloudHttp.h"

#include <QCoreApplication>
#include <QMutex>

#include <memory>

namespace Norvik::Cloud::Api {

class CloudOpenStackPrivate;

// The connection to OpenStack Swift, and the base of the provider classes below, whose
// differences lie in their descriptors.
//
// Swift has no multipart upload of its own. Parts are uploaded as ordinary objects, the
// segments, under "<folder>/~segments/<name>/<name>_<part>" (or under a configured prefix
// folder), and the upload ends with a static large object manifest that names them. Deleting
// an object therefore asks whether it is such a manifest and clears its segments first.
class CloudOpenStack : public CloudHttp
{
    Q_DECLARE_TR_FUNCTIONS(CloudOpenStack)

public:
    explicit CloudOpenStack(Type type = Type::Openstack);
    ~CloudOpenStack() override;

    // Refused for an empty map, when the private side refuses it, or without "Endpoint".
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // Takes config and authorises: the identity service is asked, whatever the container.
    void checkConfig(const QString& container, QMap<QString, QVariant>& config) override;
    QJsonDocument listing(const QString& container, const QString& prefix, QString& marker,
                          const QString& delimiter, quint16 maxKeys) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // A manifest's segments go first; a missing object fails with NoContent.
    bool delete_(const QString& container, const QJsonObject& object) override;
    // Swift has no batch delete here: nothing is sent and nothing reported.
    QJsonArray delete_(const QString& container, const QJsonArray& objects) override;
    // No request: the id names the metadata kept until the manifest is written.
    QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& container, const QString& path, const QByteArray& uploadId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partNumber, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partNumber, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    void abortMultipartUpload(const QString& container, const QString& path,
                              const QByteArray& uploadId) override;
    // The first 1000 segments of the object.
    QJsonArray listPartsMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                                  quint64& partSize) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                            const QByteArray& data) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partNumber, const QJsonArray& parts,
                                            QSharedPointer<QIODevice> device, qint64 size) override;
    QByteArray download(const QString& container, const QString& path, qint64 position, qint64 size,
                        QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, qint64 position, qint64 size, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // Both throw UnsupportedOperation.
    QMap<QByteArray, QByteArray> header(const QString& container, const QString& path) override;
    void setHeader(const QString& container, const QString& path,
                   const QMap<QByteArray, QByteArray>& headers) override;
    QString signUrl(const QString& container, const QString& path, bool useSsl,
                    const QDateTime& expires) override;
    bool createContainers(const QJsonObject& params) override;
    // Refused without a request.
    bool removeContainers(const QString& container) override;
    QJsonDocument containers() override;
    QUrl endpoint() const override;
    void setEndpoint(const QUrl& endpoint) override;

    // Deletes one object; a missing one counts as deleted.
    bool simpleDelete(const QString& container, const QString& path);
    // Deletes the first 1000 segments of path; false when one of them stayed.
    bool removeSegments(const QString& container, const QString& path);

    // Percent-encodes the UTF-8 bytes of text but letters, digits, "!$_" and the bytes 39 to
    // 47. With flag, "+" and "/" are encoded too and escapes lose their "%".
    static QString RFC1738_encode(const QString& text, bool flag);
    // The lower-case hexadecimal MD5 of the device from its position to its end; the position
    // is left where it was.
    static QByteArray calculateETag(QIODevice* device);

    // The request layer, for code that needs the token or the catalogue.
    CloudOpenStackPrivate* implementation() const { return d.get(); }

protected:
    std::unique_ptr<CloudOpenStackPrivate> d;

private:
    QByteArray uploadSegment(const QString& container, const QString& path, quint64 partNumber,
                             QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId);
};

// What upload ids stand for between the first part and the manifest: the object's metadata.
// Shared by the connections of all job threads.
class OpenStackMultipartFileMetaData
{
public:
    static OpenStackMultipartFileMetaData& instance();

    void add(const QByteArray& uploadId, const QMap<QString, QVariant>& metaData);
    // Empty for an unknown id.
    QMap<QString, QVariant> get(const QByteArray& uploadId) const;
    void remove(const QByteArray& uploadId);

private:
    OpenStackMultipartFileMetaData() = default;

    mutable QMutex m_mutex;
    QMap<QByteArray, QMap<QString, QVariant>> m_metaData;
};

// The provider classes: one type each, everything else as Swift has it.
class CloudOracle : public CloudOpenStack
{
public:
    CloudOracle();
};

class CloudRackspace : public CloudOpenStack
{
public:
    CloudRackspace();
};

class CloudSoftLayer : public CloudOpenStack
{
public:
    CloudSoftLayer();
};

// HP Cloud, and HP Helion by the connection factory.
class CloudHPCloud : public CloudOpenStack
{
public:
    CloudHPCloud();
};

} // namespace Norvik::Cloud::Api
