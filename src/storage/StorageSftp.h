#pragma once

#include "storage/StorageNetwork.h"

#include <QCoreApplication>

#include <memory>

namespace Norvik::Cloud::Api {

class StorageSftpPrivate;

// An SFTP server as a storage: objects are files below a base folder, a path that ends in "/"
// is a folder, and folders are made and pruned as files come and go. There is no multipart
// upload, no metadata beyond the file's permission bits and no signed URL. Listing pages are
// continued from walks that wait in a process-wide cache between pages. Paths that would lead
// out of the base folder are refused.
class StorageSftp : public StorageNetwork
{
    Q_DECLARE_TR_FUNCTIONS(StorageSftp)

public:
    explicit StorageSftp(Type type = Type::Sftp);
    ~StorageSftp() override;

    // The network keys and "Path", "User", "Password", "PrivateKey", "HostKeySha256".
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // Signs in and asks the server for its working folder. When no host key was configured,
    // the key the server showed is written to config under "HostKeySha256", so that the
    // application can pin it from then on.
    void checkConfig(const QString& container, QMap<QString, QVariant>& config) override;
    QJsonDocument listing(const QString& container, const QString& prefix, QString& marker,
                          const QString& delimiter, quint16 maxCount) override;
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    // A path that ends in "/" makes a folder and leaves the device alone.
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // A file, or a folder when it is empty; then the folders above it that became empty.
    bool delete_(const QString& container, const QJsonObject& object) override;
    QJsonArray delete_(const QString& container, const QJsonArray& objects) override;

    QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& container, const QString& path, const QByteArray& uploadId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    void abortMultipartUpload(const QString& container, const QString& path,
                              const QByteArray& uploadId) override;
    QJsonArray listPartsMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                                  quint64& partSize) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            const QByteArray& data) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            QSharedPointer<QIODevice> device, qint64 size) override;
    QByteArray download(const QString& container, const QString& path, qint64 position, qint64 size,
                        QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, qint64 position, qint64 size, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // Empty: the server keeps no headers.
    QMap<QByteArray, QByteArray> header(const QString& container, const QString& path) override;
    void setHeader(const QString& container, const QString& path,
                   const QMap<QByteArray, QByteArray>& headers) override;
    // Empty: there are no signed URLs.
    QString signUrl(const QString& container, const QString& path, bool useSsl,
                    const QDateTime& expires) override;

    void setAddress(const QString& address) override;
    QString address() const override;
    void setPort(quint16 port) override;
    quint16 port() const override;
    quint16 defaultPort() const override;
    void setKeepAlive(bool keepAlive) override;
    bool keepAlive() const override;
    bool defaultKeepAlive() const override;
    void setUseProxy(bool useProxy) override;
    bool useProxy() const override;
    bool defaultUseProxy() const override;

    virtual void setPath(const QString& path);
    virtual QString path() const;
    virtual void setUser(const QString& user);
    virtual QString user() const;
    virtual void setPassword(const QString& password);
    virtual QString password() const;
    virtual void setPrivateKey(const QByteArray& key);
    virtual QByteArray privateKey() const;

    // Walks waiting between pages are kept up to this many; the oldest goes first. A page
    // asked for with the marker of an evicted walk continues at that marker all the same.
    static constexpr int MaxCachedWalks = 64;

private:
    // Paths that would lead out of the base folder (a ".." segment, a null character) are
    // refused with InvalidArgument before anything is sent.
    static void checkPath(const QString& path);
    // The URL of path below the base folder.
    QUrl objectUrl(const QString& path) const;

    std::unique_ptr<StorageSftpPrivate> d;
};

} // namespace Norvik::Cloud::Api
