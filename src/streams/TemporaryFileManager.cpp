#include "streams/TemporaryFileManager.h"

#include "engine/OperationManager.h"
#include "streams/TemporaryFake.h"
#include "streams/TemporaryFile.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikCore/Preallocate.h>
#include <NorvikCore/StreamCopy.h>

#include <QDir>
#include <QMutexLocker>
#include <QTemporaryFile>

#include <cerrno>
#include <cstring>

namespace Norvik::Cloud {

namespace {

constexpr int CopyBlockSize = 16384;

QString errnoText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

} // namespace

TemporaryFileManager& TemporaryFileManager::instance()
{
    static TemporaryFileManager manager;
    return manager;
}

TemporaryFileManager::TemporaryFileManager()
    : m_folder(OperationManager::temporaryFileFolderPath())
    , m_fileLimit(OperationManager::threadCount())
{
    // Only a folder made here is removed at the end: the application may name a folder of its
    // own, and what else lies in it is not ours.
    m_folderIsOurs = !QDir(m_folder).exists();
    m_pathReady = makeFolder();
}

TemporaryFileManager::~TemporaryFileManager()
{
    // Dropping the entries removes their files, unless a job still holds one.
    m_files.clear();
    QDir folder(m_folder);
    if (!folder.exists())
        return;
    if (m_folderIsOurs)
        folder.removeRecursively();
    else
        QDir().rmdir(m_folder);
}

TemporaryFileManager::Result TemporaryFileManager::tryAdd(long long size, QIODevice& device,
                                                          bool* sourceConsumed)
{
    if (sourceConsumed)
        *sourceConsumed = false;
    QMutexLocker lock(&m_mutex);
    if (size < 0)
        return {QUuid(), QStringLiteral("Error on create temporary chunk file: invalid size %1").arg(size)};
    // The folder is made again when it could not be made at start or has gone since (a cleaner
    // of /tmp): a passing failure does not end uploads for the life of the process.
    if (!m_pathReady || !QDir(m_folder).exists())
        m_pathReady = makeFolder();
    if (!m_pathReady)
        return {QUuid(), QStringLiteral("Error create path for temporary chunks files")};
    // No more files than job threads, which are the only readers of them.
    if (m_files.size() >= m_fileLimit)
        return {};

    QSharedPointer<QTemporaryFile> file(new QTemporaryFile(QStringLiteral("%1/").arg(m_folder)));
    if (!file->open()) {
        const int error = errno;
        NorvikDebug("NKC").debug() << "Error create temporary file, path:" << m_folder
                                   << "message:" << errnoText(error);
        return {QUuid(), QStringLiteral("%1 %2").arg(QStringLiteral("Error on create temporary chunk file:"),
                                                     errnoText(error))};
    }
    // Claims the disk space first, so that a full disk fails here and not half way through.
    if (!Norvik::Utility::preallocateFile(file->handle(), static_cast<unsigned long long>(size))) {
        const int error = errno;
        NorvikDebug("NKC").warning() << "Error preallocate temporary file, path:" << file->fileName()
                                     << "message:" << errnoText(error);
        return {QUuid(),
                QStringLiteral("%1 %2").arg(
                    QStringLiteral("error on preallocate size for temporary chunk file:"), errnoText(error))};
    }

    Norvik::Utility::StreamCopy copier(CopyBlockSize);
    const long long copied = copier.exec(*file, device, size);
    if (copied < size) {
        // A short count is the normal end of a source of unknown length. It is a failure when
        // the file could not be written, or when the source could not be read: a random-access
        // source reports its end by 0 and a sequential one may report it by -1.
        const bool sourceFailed =
            !copier.errorString().isEmpty() && (!device.isReadable() || !device.isSequential());
        if (file->error() != QFileDevice::NoError || sourceFailed) {
            const QString message =
                copier.errorString().isEmpty() ? file->errorString() : copier.errorString();
            NorvikDebug("NKC").warning()
                << "Error copy to temporary file, path:" << file->fileName() << "message:" << message;
            if (sourceConsumed)
                *sourceConsumed = true;
            return {QUuid(), QStringLiteral("%1 %2").arg(
                                 QStringLiteral("Error on copy to temporary chunk file:"), message)};
        }
        // Gives back the preallocated space that the part does not fill.
        file->resize(copied);
    }
    file->seek(0);
    return {add(QSharedPointer<TemporaryFile>::create(file, copied)), QString()};
}

TemporaryFileManager::Result TemporaryFileManager::tryAddFake(long long size, QIODevice* device)
{
    if (!device)
        return {QUuid(), QStringLiteral("Error on register source stream: no device")};
    QMutexLocker lock(&m_mutex);
    return {add(QSharedPointer<TemporaryFake>::create(size, device)), QString()};
}

QSharedPointer<TemporaryFileManager::TemporaryFile> TemporaryFileManager::get(const QUuid& id) const
{
    QMutexLocker lock(&m_mutex);
    return m_files.value(id);
}

void TemporaryFileManager::remove(const QUuid& id)
{
    // The file goes under the lock when this was the last reference, so that a slot never
    // becomes free before its file has gone from the disk.
    QMutexLocker lock(&m_mutex);
    m_files.remove(id);
}

QUuid TemporaryFileManager::add(const QSharedPointer<TemporaryFile>& file)
{
    QUuid id = QUuid::createUuid();
    while (id.isNull() || m_files.contains(id))
        id = QUuid::createUuid();
    m_files.insert(id, file);
    return id;
}

bool TemporaryFileManager::makeFolder()
{
    if (QDir().mkpath(m_folder))
        return true;
    const int error = errno;
    NorvikDebug("NKC").warning() << "Error create path for temporary files, path:" << m_folder
                                 << "message:" << errnoText(error);
    return false;
}

} // namespace Norvik::Cloud
