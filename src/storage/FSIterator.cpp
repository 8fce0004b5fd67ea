#include "storage/FSIterator.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDir>
#include <QDirIterator>

namespace Norvik::Cloud::Api {

FSIterator::FSIterator(const QString& root, const QString& prefix, const QString& delimiter,
                       const QString& marker)
    : m_root(root)
    , m_prefix(prefix)
    , m_delimiter(delimiter)
{
    QDir dir(root);
    const QChar separator = QDir::separator();
    if (prefix.endsWith(separator)) {
        const QString folder = prefix.startsWith(separator) ? QStringLiteral(".%1").arg(prefix)
                                                            : QStringLiteral("./%1").arg(prefix);
        // Deliberately outside the exception family: the job boundary reports it as an
        // unknown error.
        if (!dir.cd(folder))
            throw QStringLiteral("change dir is not found: %1").arg(prefix);
        NorvikDebug("NKC").info() << "Listing destination folder:" << dir.absolutePath();
    } else {
        QString relative = prefix;
        while (relative.startsWith(separator))
            relative.remove(0, 1);
        if (!relative.isEmpty())
            m_pathFilter = QStringLiteral("%1%2").arg(root, relative);
        NorvikDebug("NKC").info() << "Listing destination folder:" << dir.absolutePath()
                                  << "filter:" << m_pathFilter;
    }

    const QDirIterator::IteratorFlags flags =
        delimiter.isEmpty() ? QDirIterator::Subdirectories : QDirIterator::NoIteratorFlags;
    m_iterator = QSharedPointer<QDirIterator>::create(
        dir.absolutePath(), QDir::NoDotAndDotDot | QDir::Hidden | QDir::System | QDir::Dirs | QDir::Files,
        flags);

    if (!marker.isEmpty()) {
        const int skip = marker.toInt();
        while (m_count < skip && hasNext())
            next();
    }
}

FSIterator::~FSIterator() = default;

bool FSIterator::hasNext() const
{
    return m_iterator->hasNext();
}

QString FSIterator::next()
{
    while (m_iterator->hasNext()) {
        const QString path = m_iterator->next();
        if (m_pathFilter.isEmpty() || path.startsWith(m_pathFilter)) {
            ++m_count;
            return path;
        }
    }
    return QString();
}

QString FSIterator::marker() const
{
    return m_iterator->hasNext() ? QString::number(m_count) : QString();
}

QString FSIterator::key() const
{
    return makeKey(m_root, m_prefix, m_delimiter, QString::number(m_count));
}

QString FSIterator::makeKey(const QString& root, const QString& prefix, const QString& delimiter,
                            const QString& marker)
{
    return QStringLiteral("%1|%2|%3|%4").arg(root, prefix, delimiter, marker);
}

} // namespace Norvik::Cloud::Api
