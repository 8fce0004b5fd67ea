#include "storage/CloudFileSystem.h"

#include "connection/CloudFileMetaData.h"
#include "connection/Exception.h"
#include "info/Config.h"
#include "storage/FSIterator.h"
#include "storage/FSListingIterator.h"
#include "storage/FileAutoDeleter.h"
#include "storage/ListingObjectFileSystem.h"
#include "storage/MultipartUpload.h"

#include <NorvikCore/Hash.h>
#include <NorvikCore/NorvikDebug.h>
#include <NorvikCore/Preallocate.h>
#include <NorvikNetwork/Bandwidth.h>
#include <NorvikNetwork/ClientCurl.h>
#include <NorvikNetwork/ProgressReporter.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <future>
#include <limits>

namespace Norvik::Cloud::Api {

namespace {

using Network::Utility::ProgressReporter;

// Writes go in small steps so that the bandwidth limiter acts at a fine grain.
const qint64 WriteStep = 1024;
// Reads are served from memory-mapped spans of this size, with no buffer in between.
const qint64 MapSpan = 25600;
const unsigned long ThrottleWaitMs = 300;
// How long to wait for a sequential source that has nothing to read yet.
const int SourceWaitMs = 100;

NorvikDebug log()
{
    return NorvikDebug("NKC");
}

QString tr(const char* text)
{
    return QCoreApplication::translate("Norvik::Cloud::Api::CloudFileSystem", text);
}

// A message from a failing device, or the fallback when the device gave none.
QString errorText(const QIODevice& device, const char* fallback)
{
    const QString message = device.errorString();
    if (message.isEmpty() || message == QLatin1String("Unknown error"))
        return *fallback ? tr(fallback) : QString();
    return message;
}

Exception::Operation operationError(const QString& message)
{
    return Exception::Operation(0, QByteArray(), message, false);
}

// Cloud paths are taken relative to the root, with or without their leading separator. A ".."
// segment could lead out of the root, and a null character would cut the path short where
// the file system sees it: both are refused before anything is touched.
QString checkedPath(const QString& path)
{
    if (path.contains(QChar(0)))
        throw Exception::InvalidArgument(QByteArray(), tr("The path contains a null character: %1").arg(path),
                                         path);
    if (path.split(QDir::separator()).contains(QStringLiteral("..")))
        throw Exception::InvalidArgument(QByteArray(),
                                         tr("The path leads outside the storage folder: %1").arg(path), path);
    return path.startsWith(QDir::separator()) ? path : QString(QDir::separator() + path);
}

// A cloud path split the way the storage maps it: the folder part and the file name, which is
// empty when the path names a folder.
struct CloudPath
{
    explicit CloudPath(const QString& path)
        : url(QUrl::fromLocalFile(checkedPath(path)))
        , directory(url.resolved(QUrl(QStringLiteral("./"))).toLocalFile())
        , fileName(url.fileName(QUrl::FullyDecoded))
    {
    }

    bool isFolder() const { return fileName.isEmpty(); }
    // The folder part relative to the root ("./a/b/").
    QString relativeDirectory() const { return QStringLiteral(".%1").arg(directory); }

    QUrl url;
    QString directory;
    QString fileName;
};

// The root folder as stored: absolute, clean, with a trailing separator.
QString rootPathOf(const QString& configured)
{
    QString path = QDir::cleanPath(QFileInfo(configured).absoluteFilePath());
    if (!path.endsWith(QDir::separator()))
        path += QDir::separator();
    return path;
}

QString configuredRoot(const QMap<QString, QVariant>& config)
{
    return config.value(Cloud::Config::FileSystem::Path).toString();
}

// Whether path lies below root (which ends in a separator); the root itself counts only when
// allowed.
bool isInside(const QString& path, const QString& root, bool rootItself)
{
    const QString clean = QDir::cleanPath(path);
    if (rootItself && (clean + QDir::separator() == root || clean == root))
        return true;
    return clean.startsWith(root) && clean.size() > root.size();
}

// Where a local path really leads: every link followed, a dangling one too (a write would
// create its target), with the part that does not exist yet appended as it stands. Empty for
// a loop of links.
QString resolvedPath(const QString& path)
{
    constexpr int MaxLinks = 40;
    QString current = QDir::cleanPath(path);
    QStringList missing;
    for (int links = 0; links <= MaxLinks;) {
        const QFileInfo info(current);
        if (info.exists()) {
            missing.prepend(info.canonicalFilePath());
            return QDir::cleanPath(missing.join(QDir::separator()));
        }
        if (info.isSymLink()) {
            current = QDir::cleanPath(info.symLinkTarget());
            ++links;
            continue;
        }
        const QString parent = info.path();
        if (parent == current)
            return QString();
        missing.prepend(info.fileName());
        current = parent;
    }
    return QString();
}

// Whether a local path, links resolved, stays at or below the root.
bool leadsInside(const QString& path, const QString& root)
{
    const QString real = resolvedPath(path);
    QString realRoot = QFileInfo(root).canonicalFilePath();
    if (real.isEmpty() || realRoot.isEmpty())
        return false;
    if (!realRoot.endsWith(QDir::separator()))
        realRoot += QDir::separator();
    return real + QDir::separator() == realRoot || real.startsWith(realRoot);
}

bool isEmptyDir(const QString& path)
{
    return QDir(path)
        .entryList(QDir::NoDotAndDotDot | QDir::Hidden | QDir::System | QDir::Dirs | QDir::Files,
                   QDir::NoSort)
        .isEmpty();
}

void checkTerminated()
{
    if (Network::ClientCurl::isTermintated())
        throw Exception::Terminated();
}

// How many bytes the write throttle lets through now, waiting while it lets through none.
qint64 readBandwithChunk(qint64 wanted)
{
    long long allowed = Network::Utility::Bandwidth::instance().fileSystemAllowed(wanted);
    while (allowed < 1) {
        checkTerminated();
        QThread::msleep(ThrottleWaitMs);
        allowed = Network::Utility::Bandwidth::instance().fileSystemAllowed(wanted);
    }
    return qMin<qint64>(allowed, wanted);
}

// Why a write stopped short; empty when the file cannot say. A short write of the file engine
// sets no error of its own (a full disk still took part of the data), so one more attempt is
// made to learn the reason.
QString writeFailure(QFile& file)
{
    file.flush();
    return errorText(file, "");
}

enum class CopyFailure
{
    None,
    Read,
    Write,
};

// Appends size bytes of source to file in throttled steps, reporting them as sent. A source
// that fails, or one that can be seen to have ended early, stops the copy; a sequential source
// with nothing to read yet is waited for.
CopyFailure appendStream(QIODevice& source, QFile& file, qint64 size, const QUuid& operationId,
                         Norvik::Core::Hash::Digest* hash, QString& message)
{
    QByteArray buffer;
    qint64 written = 0;
    while (written < size) {
        const qint64 allowed = readBandwithChunk(qMin(WriteStep, size - written));
        buffer.resize(static_cast<int>(allowed));
        const qint64 got = source.read(buffer.data(), allowed);
        if (got < 0) {
            message = errorText(source, "Error read data stream");
            return CopyFailure::Read;
        }
        if (got == 0) {
            if (!source.isSequential() && source.atEnd()) {
                message = tr("The data stream ended after %1 of %2 bytes").arg(written).arg(size);
                return CopyFailure::Read;
            }
            checkTerminated();
            source.waitForReadyRead(SourceWaitMs);
            continue;
        }
        if (file.write(buffer.constData(), got) != got) {
            message = writeFailure(file);
            return CopyFailure::Write;
        }
        if (hash)
            hash->addData(buffer.constData(), got);
        ProgressReporter::update(QUuid(), 0, got);
        ProgressReporter::update(operationId, 0, got);
        written += got;
    }
    // Data still in the file's buffer may meet a full disk only now.
    if (!file.flush()) {
        message = writeFailure(file);
        return CopyFailure::Write;
    }
    return CopyFailure::None;
}

void applyPermissions(QFile& file, const QMap<QString, QVariant>& metaData)
{
    if (!file.setPermissions(CloudFileMetaData(metaData).permission()))
        log().warning() << "Error on set file permissions:"
                        << "path:" << file.fileName() << "message:" << file.errorString();
}

void replaceMetaData(QMap<QString, QVariant>& metaData, QFileDevice::Permissions permissions)
{
    CloudFileMetaData record(metaData);
    record.setPermission(permissions);
    metaData = record.metaData(false);
}

QSharedPointer<QIODevice> readOnlyBuffer(const QByteArray& data)
{
    auto buffer = QSharedPointer<QBuffer>::create();
    buffer->setData(data);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

void checkSize(qint64 size, const QString& path)
{
    if (size < 0)
        throw Exception::InvalidArgument(QByteArray(), tr("Negative data size %1 for %2").arg(size).arg(path),
                                         QStringLiteral("size"));
}

} // namespace

CloudFileSystem::CloudFileSystem()
    : IConnection(Type::FileSystem)
{
}

CloudFileSystem::~CloudFileSystem() = default;

bool CloudFileSystem::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        log().warning() << "Cloud config is empty";
        return false;
    }
    // An empty path would make the whole file system the storage.
    const QString path = configuredRoot(config);
    if (path.isEmpty()) {
        log().warning() << "File system storage: no path in the configuration";
        return false;
    }
    m_root = QUrl::fromLocalFile(rootPathOf(path));
    return IConnection::setConfig(config);
}

void CloudFileSystem::checkConfig(const QString& container, QMap<QString, QVariant>& config)
{
    Q_UNUSED(container)
    const QString path = configuredRoot(config);
    if (path.isEmpty())
        throw Exception::InvalidArgument(QByteArray(), tr("The storage path is not set"),
                                         Cloud::Config::FileSystem::Path);
    const QUrl url = QUrl::fromLocalFile(rootPathOf(path));
    if (!QFileInfo(url.toLocalFile()).isDir()) {
        log().error() << "Directory not exist:" << url.toLocalFile();
        throw Exception::ContainerDoesNotExist(
            QByteArray(),
            QStringLiteral("%1 %2").arg(tr("The storage container does not exist:"), url.toString()));
    }
    if (!setConfig(config))
        throw Exception::InvalidArgument(QByteArray(), tr("The storage configuration is incomplete"),
                                         Cloud::Config::Id);
}

QJsonDocument CloudFileSystem::listing(const QString& container, const QString& prefix, QString& marker,
                                       const QString& delimiter, quint16 maxCount)
{
    Q_UNUSED(container)
    if (!prefix.isEmpty())
        checkedPath(prefix);
    bool validMarker = true;
    if (!marker.isEmpty() && (marker.toInt(&validMarker) < 0 || !validMarker))
        throw Exception::InvalidArgument(QByteArray(), tr("Invalid listing marker: %1").arg(marker),
                                         QStringLiteral("marker"));

    const QString root = rootPath();
    if (prefix.endsWith(QDir::separator()))
        confine(root + prefix, prefix);
    QSharedPointer<FSIterator> walk =
        FSListingIterator::instance().take(FSIterator::makeKey(root, prefix, delimiter, marker));
    if (!walk)
        walk = QSharedPointer<FSIterator>::create(root, prefix, delimiter, marker);

    QJsonArray records;
    while (walk->hasNext() && records.size() < maxCount) {
        const QString path = walk->next();
        if (path.isEmpty())
            continue;
        const QFileInfo info(path);
        // The walk itself never follows links; a link that leads outside is no object of
        // this storage, and what it points at is not to be looked at.
        if (info.isSymLink() && !leadsInside(path, root))
            continue;
        // A recursive listing implies a folder by the files below it, so it shows only empty
        // ones.
        if (info.isDir() && delimiter.isEmpty() && !isEmptyDir(path))
            continue;
        records.append(ListingObjectFileSystem(info, m_root).json());
    }

    if (walk->hasNext()) {
        marker = walk->marker();
        FSListingIterator::instance().add(walk->key(), walk);
    } else {
        marker.clear();
    }
    return QJsonDocument(records);
}

QJsonObject CloudFileSystem::upload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData, const QByteArray& data,
                                    const QUuid& operationId)
{
    return upload(container, path, metaData, readOnlyBuffer(data), data.size(), operationId);
}

QJsonObject CloudFileSystem::upload(const QString& container, const QString& path,
                                    const QMap<QString, QVariant>& metaData, QSharedPointer<QIODevice> device,
                                    qint64 size, const QUuid& operationId)
{
    Q_UNUSED(container)
    const CloudPath target(path);
    QDateTime modified = QDateTime::currentDateTimeUtc();

    if (target.isFolder()) {
        const QString createPath = QStringLiteral(".%1").arg(target.url.toLocalFile());
        confine(rootDir().absoluteFilePath(createPath), path);
        if (!rootDir().mkpath(createPath)) {
            log().error() << "Error on create empty folder:"
                          << "destination:" << path << "create path:" << createPath;
            throw Exception::CreateObjectError(QByteArray(), tr("Error on create empty folder"));
        }
        return ListingObjectFileSystem(path, 0, modified, true).json();
    }

    checkSize(size, path);
    const QString filePath = prepareDestination(path);
    log().debug() << "Uploaded destination file path:" << filePath;

    FileAutoDeleter destination(filePath);
    QFile& file = destination.file();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        // Not opened, so not ours to remove: it may be someone's read-only file.
        destination.notDelete();
        log().error() << "Error on create destination file:"
                      << "file:" << filePath << file.errorString();
        throw Exception::CreateObjectError(
            QByteArray(),
            QStringLiteral("%1 %2").arg(tr("Error on create destination file:"), file.errorString()));
    }

    if (size > 0) {
        // Claim the space first, so that a full disk fails now and not half way through.
        if (!Norvik::Utility::preallocateFile(file.handle(), static_cast<unsigned long long>(size))) {
            const QString message = QString::fromLocal8Bit(std::strerror(errno));
            log().error() << "Error on prealocate file:"
                          << "message:" << message;
            throw Exception::CreateObjectError(QByteArray(), message);
        }
        if (!device || (!device->isOpen() && !device->open(QIODevice::ReadOnly)))
            throw Exception::CreateObjectError(QByteArray(), tr("Error open data stream"));

        QString message;
        switch (appendStream(*device, file, size, operationId, nullptr, message)) {
        case CopyFailure::None:
            break;
        case CopyFailure::Read:
            log().error() << "Error on read data stream:"
                          << "message:" << message;
            throw Exception::CreateObjectError(QByteArray(), message);
        case CopyFailure::Write:
            if (message.isEmpty())
                message = tr("Error on write data to file");
            log().error() << "Error on write data to file:"
                          << "message:" << message;
            throw Exception::CreateObjectError(QByteArray(), message);
        }
    }

    destination.notDelete();
    applyPermissions(file, metaData);
    file.close();
    modified = QFileInfo(filePath).lastModified().toUTC();
    return ListingObjectFileSystem(path, static_cast<unsigned long long>(size), modified, false).json();
}

void CloudFileSystem::download(const QString& container, const QString& path, QIODevice& out,
                               QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    Q_UNUSED(container)
    FileAutoDeleter source(existingFile(path));
    source.notDelete();
    QFile& file = source.file();
    if (!file.open(QIODevice::ReadOnly)) {
        const QString message = errorText(file, "Unknown error on open file");
        log().error() << "Error on open file in destination/storage:"
                      << "path:" << file.fileName() << "message:" << message;
        throw Exception::AccessDenied(QByteArray(), message);
    }
    copyFile2Stream(source, out, 0, file.size(), operationId);
    replaceMetaData(metaData, file.permissions());
}

QByteArray CloudFileSystem::download(const QString& container, const QString& path, qint64 position,
                                     qint64 size, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    download(container, path, position, size, buffer, metaData, operationId);
    return data;
}

void CloudFileSystem::download(const QString& container, const QString& path, qint64 position, qint64 size,
                               QIODevice& out, QMap<QString, QVariant>& metaData, const QUuid& operationId)
{
    Q_UNUSED(container)
    if (position < 0 || size < -1)
        throw Exception::InvalidArgument(
            QByteArray(), tr("Invalid range: position %1, last offset %2").arg(position).arg(size),
            QStringLiteral("range"));

    FileAutoDeleter source(existingFile(path));
    source.notDelete();
    QFile& file = source.file();
    if (!file.open(QIODevice::ReadOnly)) {
        const QString message = errorText(file, "Unknown error on open file");
        log().error() << "Error on open file in destination/storage:"
                      << "path:" << file.fileName() << "message:" << message;
        throw Exception::AccessDenied(QByteArray(), message);
    }
    // The range is the first offset and the count less one.
    const qint64 count = size < std::numeric_limits<qint64>::max() ? size + 1 : size;
    copyFile2Stream(source, out, position, count, operationId);
    replaceMetaData(metaData, file.permissions());
}

bool CloudFileSystem::delete_(const QString& container, const QJsonObject& object)
{
    Q_UNUSED(container)
    const ListingObject record(object);
    QString name = record.name();
    if (name.isEmpty())
        throw Exception::InvalidArgument(QByteArray(), tr("An object without a name cannot be deleted"),
                                         QStringLiteral("Name"));
    // Listing names come out relative.
    name = checkedPath(name);
    QDir dir = rootDir();

    if (record.isFolder()) {
        const QString localPath = QUrl::fromLocalFile(name).toLocalFile();
        if (!dir.cd(QStringLiteral(".%1").arg(localPath))) {
            log().error() << "removed directory not exist:" << localPath;
            throw Exception::NoContent();
        }
        if (!isInside(dir.absolutePath(), rootPath(), false))
            throw Exception::InvalidArgument(QByteArray(), tr("The storage folder itself cannot be deleted"),
                                             name);
        const QString folder = dir.absolutePath();
        confine(folder, name);
        if (!isEmptyDir(folder)) {
            log().error() << "removed directory not empty:" << folder;
            throw operationError(tr("Removed path is directory and not empty"));
        }
        if (!dir.rmdir(folder)) {
            log().error() << "Error on remove directory:" << folder;
            throw operationError(tr("Unknown error on remove directory"));
        }
        if (dir.cdUp())
            removePath(dir.absolutePath());
        return true;
    }

    const CloudPath target(name);
    // Also a link that leads out, though only its entry would go: it is no object here.
    confine(dir.absoluteFilePath(QStringLiteral(".%1").arg(target.url.toLocalFile())), name);
    const bool folderFound = dir.cd(target.relativeDirectory());
    const QString filePath = dir.absolutePath() + QDir::separator() + target.fileName;
    const QFileInfo info(filePath);
    // A dangling link that stays inside is an entry of the listing too, and can be removed.
    if (!folderFound || (!info.exists() && !info.isSymLink())) {
        log().error() << "Removed file not exist path:" << filePath;
        throw Exception::NoContent();
    }
    QFile file(filePath);
    if (!file.remove()) {
        const QString message = errorText(file, "Unknown error on remove file");
        log().error() << "Error on remove file from storage/destination:"
                      << "path:" << filePath << "message:" << message;
        throw operationError(message);
    }
    removePath(dir.absolutePath());
    return true;
}

QJsonArray CloudFileSystem::delete_(const QString& container, const QJsonArray& objects)
{
    Q_UNUSED(container)
    Q_UNUSED(objects)
    throw Exception::UnsupportedOperation();
}

QByteArray CloudFileSystem::beginMultipartUpload(const QString& container, const QString& path,
                                                 const QMap<QString, QVariant>& metaData)
{
    Q_UNUSED(container)
    if (CloudPath(path).isFolder())
        throw Exception::InvalidArgument(
            QByteArray(), tr("A multipart upload needs a file, not a folder: %1").arg(path), path);
    const QString filePath = prepareDestination(path);
    QFile file(filePath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        log().error() << "Error on create destination file:"
                      << "file:" << filePath << file.errorString();
        throw Exception::CreateObjectError(
            QByteArray(),
            QStringLiteral("%1 %2").arg(tr("Error on create destination file:"), file.errorString()));
    }
    applyPermissions(file, metaData);
    const QByteArray uploadId = QUuid::createUuid().toByteArray();
    MultipartUpload::instance().registrate(uploadId, {0, filePath});
    file.close();
    return uploadId;
}

QJsonObject CloudFileSystem::endMultipartUpload(const QString& container, const QString& path,
                                                const QByteArray& uploadId,
                                                const QList<QPair<quint64, QByteArray>>& parts)
{
    Q_UNUSED(container)
    Q_UNUSED(parts)
    MultipartUpload::Entry entry;
    if (!MultipartUpload::instance().take(uploadId, entry))
        throw Exception::MultipartInvalidUploadId(
            QByteArray(), tr("Unknown multipart upload: %1").arg(QString::fromLatin1(uploadId)));
    return ListingObjectFileSystem(path, entry.first, QDateTime::currentDateTimeUtc(), false).json();
}

QByteArray CloudFileSystem::uploadMultipart(const QString& container, const QString& path,
                                            const QByteArray& uploadId, quint64 partId,
                                            const QByteArray& data, const QUuid& operationId)
{
    Q_UNUSED(container)
    // Parts are appended in the order they arrive; their numbers carry no offset.
    Q_UNUSED(partId)
    checkSize(data.size(), path);
    // The part's tag is its MD5, which costs more than writing the part into the page cache:
    // with the bytes in memory it is computed on a thread of its own while they are written.
    auto tag = std::async(std::launch::async, [data] {
        return Norvik::Core::Hash::Digest::hash(data, Norvik::Core::Hash::Algorithm::Md5).toBase64();
    });
    QBuffer device;
    device.setData(data);
    device.open(QIODevice::ReadOnly);
    appendPart(path, uploadId, device, data.size(), operationId, nullptr);
    return tag.get();
}

QByteArray CloudFileSystem::uploadMultipart(const QString& container, const QString& path,
                                            const QByteArray& uploadId, quint64 partId,
                                            QSharedPointer<QIODevice> device, qint64 size,
                                            const QUuid& operationId)
{
    Q_UNUSED(container)
    Q_UNUSED(partId)
    checkSize(size, path);
    if (!device || (!device->isOpen() && !device->open(QIODevice::ReadOnly))) {
        log().error() << "Error open dataStream for uploadMultipart";
        throw Exception::InvalidData(QByteArray());
    }
    const qint64 start = device->pos();
    Norvik::Core::Hash::Digest tag(Norvik::Core::Hash::Algorithm::Md5);
    appendPart(path, uploadId, *device, size, operationId, &tag);
    // The caller may read its part again, for instance to retry it elsewhere.
    if (!device->isSequential())
        device->seek(start);
    return tag.result().toBase64();
}

void CloudFileSystem::appendPart(const QString& path, const QByteArray& uploadId, QIODevice& device,
                                 qint64 size, const QUuid& operationId, Norvik::Core::Hash::Digest* tag)
{
    MultipartUpload& uploads = MultipartUpload::instance();
    const MultipartUpload::Entry entry = uploads.get(uploadId);
    const QString& filePath = entry.second;
    if (!QFile::exists(filePath)) {
        uploads.remove(uploadId);
        log().error() << "Multipart upload destination file not exist:"
                      << "path" << filePath;
        throw operationError(tr("Multipart upload destination file not exist"));
    }

    // The destination may have been replaced by a link since the upload began.
    confine(filePath, path);
    QFile file(filePath);
    if (!file.open(QIODevice::ReadWrite)) {
        const QString message = errorText(file, "Multipart upload destination file, error open");
        uploads.remove(uploadId);
        QFile::remove(filePath);
        log().error() << "Error open destination file data, to append data"
                      << "path:" << filePath << "message:" << message;
        throw operationError(message);
    }

    QString message;
    const bool placed = file.seek(static_cast<qint64>(entry.first));
    if (!placed)
        message = file.errorString();
    if (!placed || appendStream(device, file, size, operationId, tag, message) != CopyFailure::None) {
        if (message.isEmpty())
            message = tr("Multipart upload error write part");
        file.close();
        file.remove();
        uploads.remove(uploadId);
        log().error() << "Error write part to multipart destination file"
                      << "path:" << filePath << "message:" << message;
        throw operationError(message);
    }
    file.close();
    uploads.add(uploadId, static_cast<unsigned long long>(size));
}

void CloudFileSystem::abortMultipartUpload(const QString& container, const QString& path,
                                           const QByteArray& uploadId)
{
    Q_UNUSED(container)
    Q_UNUSED(path)
    Q_UNUSED(uploadId)
}

QJsonArray CloudFileSystem::listPartsMultipart(const QString& container, const QString& path,
                                               const QByteArray& uploadId, quint64& partSize)
{
    Q_UNUSED(container)
    Q_UNUSED(path)
    Q_UNUSED(uploadId)
    Q_UNUSED(partSize)
    return QJsonArray();
}

QPair<bool, QByteArray> CloudFileSystem::checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                         const QByteArray& data)
{
    Q_UNUSED(partId)
    Q_UNUSED(parts)
    Q_UNUSED(data)
    return {false, QByteArray()};
}

QPair<bool, QByteArray> CloudFileSystem::checkUploadPart(quint64 partId, const QJsonArray& parts,
                                                         QSharedPointer<QIODevice> device, qint64 size)
{
    Q_UNUSED(partId)
    Q_UNUSED(parts)
    Q_UNUSED(device)
    Q_UNUSED(size)
    return {false, QByteArray()};
}

QMap<QByteArray, QByteArray> CloudFileSystem::header(const QString& container, const QString& path)
{
    Q_UNUSED(container)
    Q_UNUSED(path)
    return QMap<QByteArray, QByteArray>();
}

void CloudFileSystem::setHeader(const QString& container, const QString& path,
                                const QMap<QByteArray, QByteArray>& headers)
{
    Q_UNUSED(container)
    Q_UNUSED(path)
    Q_UNUSED(headers)
}

QString CloudFileSystem::signUrl(const QString& container, const QString& path, bool useSsl,
                                 const QDateTime& expires)
{
    Q_UNUSED(container)
    Q_UNUSED(useSsl)
    Q_UNUSED(expires)
    const QString checked = checkedPath(path);
    rootPath();
    const QUrl url = m_root.resolved(QUrl(QStringLiteral(".%1").arg(checked)));
    // URL parsing decodes what the path check saw encoded ("%2e%2e"): check the result too.
    if (url != m_root && !m_root.isParentOf(url))
        throw Exception::InvalidArgument(QByteArray(),
                                         tr("The path leads outside the storage folder: %1").arg(path), path);
    confine(url.toLocalFile(), path);
    return QString::fromLatin1(url.toEncoded(QUrl::FullyEncoded));
}

bool CloudFileSystem::pathIsReadable(const QMap<QString, QVariant>& config, const QString& path)
{
    const QString configured = configuredRoot(config);
    if (configured.isEmpty())
        return false;
    const QString root = rootPathOf(configured);
    if (!QFileInfo(root).isReadable())
        return false;
    try {
        checkedPath(path);
    } catch (const Exception::InvalidArgument& refused) {
        log().warning() << "File system storage:" << refused.message();
        return false;
    }
    if (!leadsInside(root + path, root))
        return false;
    const QFileInfo target(root + path);
    if (!target.exists())
        return true;
    return target.isReadable();
}

bool CloudFileSystem::pathIsModified(const QMap<QString, QVariant>& config, const QString& path)
{
    const QString configured = configuredRoot(config);
    if (configured.isEmpty())
        return false;
    const QString root = rootPathOf(configured);
    const QFileInfo rootInfo(root);
    if (!rootInfo.isWritable() || !rootInfo.isReadable())
        return false;
    try {
        checkedPath(path);
    } catch (const Exception::InvalidArgument& refused) {
        log().warning() << "File system storage:" << refused.message();
        return false;
    }
    if (!leadsInside(root + path, root))
        return false;
    const QFileInfo target(root + path);
    if (!target.exists())
        return true;
    return target.isReadable() && target.isWritable();
}

QDir CloudFileSystem::rootDir() const
{
    return QDir(rootPath());
}

QString CloudFileSystem::rootPath() const
{
    // Without a root every path would be taken from the current folder of the process.
    if (m_root.isEmpty())
        throw Exception::InternalError(tr("The file system storage is not configured"));
    return m_root.toLocalFile();
}

QString CloudFileSystem::prepareDestination(const QString& path) const
{
    const CloudPath target(path);
    QDir dir = rootDir();
    const QString folder = target.relativeDirectory();
    // Before anything is made: a link on the way would have the folders made outside.
    confine(dir.absoluteFilePath(folder), path);
    if (!dir.mkpath(folder)) {
        log().error() << "Error on create destination path:"
                      << "destination:" << path << "create path:" << folder;
        throw Exception::CreateObjectError(QByteArray(), tr("Error on create destination path"));
    }
    dir.cd(folder);
    const QString filePath = dir.absolutePath() + QDir::separator() + target.fileName;
    // The path check keeps every destination below the root; this is the last line of defence.
    if (!isInside(filePath, rootPath(), false))
        throw Exception::InvalidArgument(QByteArray(),
                                         tr("The path leads outside the storage folder: %1").arg(path), path);
    // The file itself may be a link, dangling or not.
    confine(filePath, path);
    return filePath;
}

QString CloudFileSystem::existingFile(const QString& path) const
{
    const CloudPath target(path);
    QDir dir = rootDir();
    confine(dir.absoluteFilePath(QStringLiteral(".%1").arg(target.url.toLocalFile())), path);
    const bool folderFound = dir.cd(target.relativeDirectory());
    const QString filePath = dir.absolutePath() + QDir::separator() + target.fileName;
    if (!folderFound || !QFile::exists(filePath)) {
        log().error() << "Error, file not exist in destination/storage:"
                      << "path:" << filePath;
        throw Exception::NoContent();
    }
    return filePath;
}

void CloudFileSystem::copyFile2Stream(const FileAutoDeleter& source, QIODevice& out, qint64 position,
                                      qint64 size, const QUuid& operationId) const
{
    QFile& file = source.file();
    const qint64 limit = qMin(size, file.size() - position);
    log().debug() << "Copy File2Stream range: file size:" << file.size() << "size:" << size
                  << "max size:" << limit << "pos:" << position;

    for (qint64 copied = 0; copied < limit;) {
        const qint64 span = qMin(MapSpan, limit - copied);
        const qint64 offset = position + copied;
        uchar* data = file.map(offset, span);
        if (!data) {
            const QString message = errorText(file, "Unknown error on map source file data");
            log().error() << "Error on map source file to memory map:"
                          << "path:" << file.fileName() << "message:" << message;
            throw Exception::DownloadDataError(message);
        }
        if (out.write(reinterpret_cast<const char*>(data), span) != span) {
            file.unmap(data);
            const QString message =
                QStringLiteral("Error on write data to destination stream: path: %1 position: "
                               "%2 data size: %3")
                    .arg(file.fileName())
                    .arg(offset)
                    .arg(span);
            log().error() << message;
            throw Exception::DownloadDataError(message);
        }
        ProgressReporter::update(QUuid(), span, 0);
        ProgressReporter::update(operationId, span, 0);
        file.unmap(data);
        copied += span;
    }
}

void CloudFileSystem::confine(const QString& local, const QString& path) const
{
    if (leadsInside(local, rootPath()))
        return;
    log().warning() << "File system storage: the path leads outside the storage folder:" << path
                    << "local path:" << local;
    throw Exception::InvalidArgument(QByteArray(),
                                     tr("The path leads outside the storage folder: %1").arg(path), path);
}

void CloudFileSystem::removePath(const QString& path) const
{
    const QString root = rootPath();
    QDir dir(path);
    // Prunes emptied folders upward; a folder that still holds entries ends it. The root, and
    // anything that is not below it, is never removed.
    while (isInside(dir.absolutePath(), root, false)) {
        if (!dir.rmdir(dir.absolutePath()))
            break;
        if (!dir.cdUp())
            break;
    }
}

} // namespace Norvik::Cloud::Api
