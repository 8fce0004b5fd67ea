#pragma once

#include "connection/CloudHttp.h"

#include <QCoreApplication>
#include <QUuid>

#include <functional>
#include <memory>

namespace Norvik::Cloud::Api {

class CloudBackBlazePrivate;

// The Backblaze B2 connection. Every operation is one retry loop around calls of the service's
// JSON interface; the loops decide which failure repeats a request and which first throws away
// the upload URL, a large file's part URL or the session token (see RetryRules in the source).
//
// Container strings are "name|id" (see BackBlazeBucket), as containers() hands them out.
// A large file's part URLs are kept per connection in UploadBigfileInfo.
class CloudBackBlaze : public CloudHttp
{
    Q_DECLARE_TR_FUNCTIONS(CloudBackBlaze)

public:
    CloudBackBlaze();
    ~CloudBackBlaze() override;

    // Refused for an empty map or one without "AccountId" and "ApplicationKey". "TestMode"
    // makes every upload ask the service to fail some of them.
    bool setConfig(const QMap<QString, QVariant>& config) override;
    void checkConfig(const QString& container, QMap<QString, QVariant>& config) override;
    QJsonDocument listing(const QString& container, const QString& prefix, QString& marker,
                          const QString& delimiter, quint16 maxKeys) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // A file whose id the service no longer knows ends as NoContent.
    bool delete_(const QString& container, const QJsonObject& object) override;
    QJsonArray delete_(const QString& container, const QJsonArray& objects) override;
    QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& container, const QString& path, const QByteArray& fileId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    // The tag is the JSON text of the part record, which carries the part's SHA-1.
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& fileId,
                               quint64 partId, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& fileId,
                               quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    void abortMultipartUpload(const QString& container, const QString& path,
                              const QByteArray& fileId) override;
    // partSize is the paging cursor: the first part number to list (0 from the start), and
    // afterwards the next one, or 0 after the last page. An unknown file gives an empty array.
    QJsonArray listPartsMultipart(const QString& container, const QString& path, const QByteArray& fileId,
                                  quint64& partSize) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            const QByteArray& data) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            QSharedPointer<QIODevice> device, qint64 size) override;
    QByteArray download(const QString& container, const QString& path, qint64 position, qint64 size,
                        QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, qint64 position, qint64 size, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // Not offered: empty.
    QMap<QByteArray, QByteArray> header(const QString& container, const QString& path) override;
    void setHeader(const QString& container, const QString& path,
                   const QMap<QByteArray, QByteArray>& headers) override;
    QString signUrl(const QString& container, const QString& path, bool useSsl,
                    const QDateTime& expires) override;
    bool createContainers(const QJsonObject& params) override;
    // Not offered: false, and nothing is sent.
    bool removeContainers(const QString& container) override;
    // Every bucket but snapshot buckets, as {"Name": "name|id"}.
    QJsonDocument containers() override;
    QUrl endpoint() const override;
    void setEndpoint(const QUrl& endpoint) override;
    QUrl defaultEndpoint() const override;

    // The name as the service's headers and download paths take it: without a leading "/",
    // unreserved characters as they are, "/" kept unless encodeSlash, every other UTF-8 byte
    // as "%XX".
    static QString uriEncodeB2(const QString& name, bool encodeSlash);

    struct RetryRules;

private:
    // One operation: authorise when needed, run work, and handle failures by rules. refused
    // is what an operation gives when no attempt is left at the top of the loop; without it
    // that case throws. rewind, when set, is put back to its starting position after each
    // handled failure.
    template <class Result>
    Result run(const RetryRules& rules, const QString& container, const std::function<Result()>& work,
               const QByteArray& fileId = QByteArray(), QIODevice* rewind = nullptr,
               const Result* refused = nullptr);
    void requireCapability(int capability, const char* warning, int permissionType);
    QByteArray apiCall(const QString& path, const QJsonObject& request);
    void download(const QString& container, const QString& path, const QByteArray& range, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId);
    QJsonObject partInfo(const QString& container, const QByteArray& fileId);

    std::unique_ptr<CloudBackBlazePrivate> d;
    QUuid m_connectionId;
    bool m_testMode = false;
};

} // namespace Norvik::Cloud::Api
