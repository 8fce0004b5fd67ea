#pragma once

#include <QDateTime>
#include <QFileDevice>
#include <QString>

namespace Norvik::Core::FS {

// A snapshot of one file's attributes, read once with lstat(2) at construction.
class FileInfo
{
public:
    FileInfo() = default;
    explicit FileInfo(const QString& path);

    bool exists() const { return m_exists; }
    bool isFile() const { return m_isFile; }
    bool isDir() const { return m_isDir; }
    bool isSymLink() const { return m_isSymLink; }
    const QString& filePath() const { return m_path; }
    QString fileName() const;
    // Text after the last dot of the file name, without the dot; empty when there is none.
    QString suffix() const;
    qint64 size() const { return m_size; }
    // The nine unix permission bits (for example 0644).
    unsigned mode() const { return m_mode; }
    QFileDevice::Permissions permissions() const;
    QDateTime lastModified() const { return m_lastModified; }

private:
    QString m_path;
    bool m_exists = false;
    bool m_isFile = false;
    bool m_isDir = false;
    bool m_isSymLink = false;
    qint64 m_size = 0;
    unsigned m_mode = 0;
    QDateTime m_lastModified;
};

} // namespace Norvik::Core::FS
