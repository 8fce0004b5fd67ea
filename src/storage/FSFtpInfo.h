#pragma once

#include <QDateTime>
#include <QFile>
#include <QString>

namespace Norvik::Cloud::Api {

// One entry of a folder listing in the long form that file servers send:
//     drwxr-xr-x  2 owner group  4096 Jan  2 10:30 name with blanks
// Lines that do not have this shape, and the entries "." and "..", are not valid.
class FSFtpInfo
{
public:
    FSFtpInfo() = default;
    // parentPath is the folder that was listed; path() is the entry's full path, with a
    // trailing "/" for a folder, and empty when the line is not valid.
    FSFtpInfo(const QString& parentPath, const QString& line);

    bool isValid() const { return m_valid; }
    bool isLink() const { return m_link; }
    bool isFolder() const { return m_folder; }
    quint64 size() const { return m_size; }
    const QString& owner() const { return m_owner; }
    const QString& group() const { return m_group; }
    const QString& name() const { return m_name; }
    const QString& path() const { return m_path; }
    // In UTC; a date without a year is taken to lie in the current year.
    const QDateTime& lastModified() const { return m_lastModified; }
    // A superset of the real rights: any letter other than "r" and "w" (a dash too) counts as
    // the execute right of its group.
    QFile::Permissions permissions() const { return m_permissions; }

private:
    bool parse(const QString& line);
    bool parsePerm(const QString& text);
    bool parseSize(const QString& text);
    bool parseModDate(const QString& text);

    bool m_valid = false;
    bool m_link = false;
    bool m_folder = false;
    quint64 m_size = 0;
    QString m_owner;
    QString m_group;
    QString m_name;
    QString m_path;
    QDateTime m_lastModified;
    QFile::Permissions m_permissions;
};

} // namespace Norvik::Cloud::Api
