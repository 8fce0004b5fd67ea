#pragma once

#include "connection/IConnection.h"

#include <QUrl>

namespace Norvik::Core::Hash {
class Digest;
}

class QDir;
class QFile;

namespace Norvik::Cloud::Api {

class FileAutoDeleter;

// A directory tree on a locally mounted file system, served like a cloud: a cloud path maps one
// to one onto a file below the configured root. There is no container, no retry and no
// metadata besides the file's permission bits. Paths that would lead out of the root (a ".."
// segment, a null character) are refused with Exception::InvalidArgument before anything is
// touched.
class CloudFileSystem : public IConnection
{
public:
    CloudFileSystem();
    ~CloudFileSystem() override;

    // Needs "Path", the root folder; a relative one is taken from the current folder.
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // Throws ContainerDoesNotExist when the root folder is missing.
    void checkConfig(const QString& container, QMap<QString, QVariant>& config) override;
    // The marker of a page is a count of walked entries; unfinished walks are parked between
    // pages. An empty delimiter lists the whole tree below the prefix, folders only where they
    // are empty.
    QJsonDocument listing(const QString& container, const QString& prefix, QString& marker,
                          const QString& delimiter, quint16 maxCount) override;
    // A path that ends in a separator makes a folder and leaves the data alone.
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       const QByteArray& data, const QUuid& operationId) override;
    // The device must deliver size bytes.
    QJsonObject upload(const QString& container, const QString& path, const QMap<QString, QVariant>& metaData,
                       QSharedPointer<QIODevice> device, qint64 size, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    // Removes one file or one empty folder, then every folder above it that became empty,
    // never the root.
    bool delete_(const QString& container, const QJsonObject& object) override;
    // Always throws UnsupportedOperation: there is no batch delete here.
    QJsonArray delete_(const QString& container, const QJsonArray& objects) override;

    // Parts are appended to the destination file in the order they arrive: the caller must
    // send them one at a time and in order.
    QByteArray beginMultipartUpload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData) override;
    QJsonObject endMultipartUpload(const QString& container, const QString& path, const QByteArray& uploadId,
                                   const QList<QPair<quint64, QByteArray>>& parts) override;
    // The tag is the Base64 text of the MD5 of the appended bytes.
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, const QByteArray& data, const QUuid& operationId) override;
    QByteArray uploadMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                               quint64 partId, QSharedPointer<QIODevice> device, qint64 size,
                               const QUuid& operationId) override;
    // Does nothing: the partial file stays where it is.
    void abortMultipartUpload(const QString& container, const QString& path,
                              const QByteArray& uploadId) override;
    // Always empty: parts are not kept apart, so no upload resumes here.
    QJsonArray listPartsMultipart(const QString& container, const QString& path, const QByteArray& uploadId,
                                  quint64& partSize) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            const QByteArray& data) override;
    QPair<bool, QByteArray> checkUploadPart(quint64 partId, const QJsonArray& parts,
                                            QSharedPointer<QIODevice> device, qint64 size) override;

    // size + 1 bytes at most from position; cut at the end of the file, empty past it.
    QByteArray download(const QString& container, const QString& path, qint64 position, qint64 size,
                        QMap<QString, QVariant>& metaData, const QUuid& operationId) override;
    void download(const QString& container, const QString& path, qint64 position, qint64 size, QIODevice& out,
                  QMap<QString, QVariant>& metaData, const QUuid& operationId) override;

    // No headers are stored here.
    QMap<QByteArray, QByteArray> header(const QString& container, const QString& path) override;
    void setHeader(const QString& container, const QString& path,
                   const QMap<QByteArray, QByteArray>& headers) override;
    // A file: URL of the object, unsigned and without expiry.
    QString signUrl(const QString& container, const QString& path, bool useSsl,
                    const QDateTime& expires) override;

    // For the application, without a connection: whether path below the root of config can be
    // read, or read and written. A path that does not exist yet counts as usable when the
    // root is; a path that leads out of the root never does.
    static bool pathIsReadable(const QMap<QString, QVariant>& config, const QString& path);
    static bool pathIsModified(const QMap<QString, QVariant>& config, const QString& path);

private:
    QDir rootDir() const;
    // The root's local path, with its trailing separator; throws before setConfig.
    QString rootPath() const;
    // Creates the destination's folders and gives the destination file's absolute path.
    QString prepareDestination(const QString& path) const;
    // The absolute path of an existing file; NoContent when it is missing.
    QString existingFile(const QString& path) const;
    void copyFile2Stream(const FileAutoDeleter& file, QIODevice& out, qint64 position, qint64 size,
                         const QUuid& operationId) const;
    void removePath(const QString& path) const;
    // Appends size bytes of device to the file of the multipart upload; hashes them into tag
    // when one is given.
    void appendPart(const QString& path, const QByteArray& uploadId, QIODevice& device, qint64 size,
                    const QUuid& operationId, Norvik::Core::Hash::Digest* tag);
    // Throws InvalidArgument for a local path that really leads outside the root, through a
    // link on the way or at its end; path is the cloud path named in the message.
    void confine(const QString& local, const QString& path) const;

    QUrl m_root;
};

} // namespace Norvik::Cloud::Api
