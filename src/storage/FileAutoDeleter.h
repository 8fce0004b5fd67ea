#pragma once

#include <QSharedPointer>
#include <QString>

class QFile;

namespace Norvik::Cloud::Api {

// Scope guard for a file being written: unless told otherwise, the destructor closes the file
// and removes it, so that a failed write leaves no half-written object behind.
class FileAutoDeleter
{
public:
    explicit FileAutoDeleter(const QString& path);
    ~FileAutoDeleter();
    FileAutoDeleter(const FileAutoDeleter&) = delete;
    FileAutoDeleter& operator=(const FileAutoDeleter&) = delete;

    QFile& file() const { return *m_file; }
    // Keeps the file: the write succeeded, or the file was never ours to remove.
    void notDelete() { m_delete = false; }

private:
    QSharedPointer<QFile> m_file;
    bool m_delete = true;
};

} // namespace Norvik::Cloud::Api
