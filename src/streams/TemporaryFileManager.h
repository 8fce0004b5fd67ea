#pragma once

#include <QHash>
#include <QMutex>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUuid>

class QIODevice;

namespace Norvik::Cloud {

// The process-wide store of parts parked in temporary files, for parts too large for the
// memory budget, and of pass-through entries that hand the caller's own device to the job.
//
// The files live in OperationManager::temporaryFileFolderPath() and there are never more of
// them than job threads (OperationManager::threadCount()); both are read at the first
// instance(). An entry is shared: the job may still hold it when the operation removes it,
// and the file disappears with the last reference. Entries are declared in TemporaryFile.h
// and TemporaryFake.h.
class TemporaryFileManager
{
public:
    class TemporaryFile;
    class TemporaryFake;

    // (id, empty text) on success; (null id, text) on a failure; (null id, empty text) when
    // no file may be made now, and the caller is to ask again later.
    using Result = QPair<QUuid, QString>;

    static TemporaryFileManager& instance();

    // Copies up to size bytes of device into a new temporary file. Exceptions thrown by the
    // device pass through. Every failure text but one comes before anything is read; when
    // the copy itself fails, the source has moved on and sourceConsumed (if given) is set:
    // asking again would skip the bytes already taken.
    Result tryAdd(long long size, QIODevice& device, bool* sourceConsumed = nullptr);
    // Registers the caller's device itself, uncopied; size below 1 means a length that is
    // learnt by reading. Not bounded by the number of job threads.
    Result tryAddFake(long long size, QIODevice* device);
    // The entry, or null for an unknown id.
    QSharedPointer<TemporaryFile> get(const QUuid& id) const;
    void remove(const QUuid& id);

    QString folderPath() const { return m_folder; }

private:
    TemporaryFileManager();
    ~TemporaryFileManager();
    TemporaryFileManager(const TemporaryFileManager&) = delete;
    TemporaryFileManager& operator=(const TemporaryFileManager&) = delete;

    // Runs under the caller's lock.
    QUuid add(const QSharedPointer<TemporaryFile>& file);
    bool makeFolder();

    QHash<QUuid, QSharedPointer<TemporaryFile>> m_files;
    mutable QMutex m_mutex;
    bool m_pathReady = false;
    bool m_folderIsOurs = false;
    const QString m_folder;
    const int m_fileLimit;
};

} // namespace Norvik::Cloud
