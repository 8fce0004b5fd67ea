#include "NorvikCore/FileInfo.h"

#include <QFile>

#include <sys/stat.h>

namespace Norvik::Core::FS {

FileInfo::FileInfo(const QString& path)
    : m_path(path)
{
    struct stat st {};
    const QByteArray native = QFile::encodeName(path);
    if (::lstat(native.constData(), &st) != 0)
        return;
    m_exists = true;
    m_isSymLink = S_ISLNK(st.st_mode);
    if (m_isSymLink && ::stat(native.constData(), &st) != 0)
        return; // dangling link: exists as a link only
    m_isFile = S_ISREG(st.st_mode);
    m_isDir = S_ISDIR(st.st_mode);
    m_size = m_isFile ? static_cast<qint64>(st.st_size) : 0;
    m_mode = st.st_mode & 0777;
    m_lastModified = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(st.st_mtim.tv_sec) * 1000 +
                                                    st.st_mtim.tv_nsec / 1000000);
}

QString FileInfo::fileName() const
{
    const int slash = m_path.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? m_path : m_path.mid(slash + 1);
}

QString FileInfo::suffix() const
{
    const QString name = fileName();
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : name.mid(dot + 1);
}

QFileDevice::Permissions FileInfo::permissions() const
{
    QFileDevice::Permissions result;
    const struct
    {
        unsigned bit;
        QFileDevice::Permission permission;
    } table[] = {{0400, QFileDevice::ReadOwner}, {0200, QFileDevice::WriteOwner}, {0100, QFileDevice::ExeOwner},
                 {0040, QFileDevice::ReadGroup}, {0020, QFileDevice::WriteGroup}, {0010, QFileDevice::ExeGroup},
                 {0004, QFileDevice::ReadOther}, {0002, QFileDevice::WriteOther}, {0001, QFileDevice::ExeOther}};
    for (const auto& row : table)
        if (m_mode & row.bit)
            result |= row.permission;
    return result;
}

} // namespace Norvik::Core::FS
