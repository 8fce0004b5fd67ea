#include "storage/FTPDirIterator.h"

#include "connection/Exception.h"
#include "storage/StorageFtpPrivate.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud::Api {

namespace {

QString withoutLeadingSlash(const QString& text)
{
    return text.startsWith(QLatin1Char('/')) ? text.mid(1) : text;
}

} // namespace

FTPDirIterator::FTPDirIterator(StorageFtpPrivate* storage, const QUrl& url, const QString& prefix,
                               const QString& delimiter, const QString& marker)
    : m_storage(storage)
    , m_baseUrl(url)
    , m_url(url)
    , m_prefix(prefix)
    , m_delimiter(delimiter)
    , m_hasDelimiter(!delimiter.isEmpty())
{
    regenerateKey(marker);
    const QString basePath = m_url.path(QUrl::FullyDecoded);
    if (prefix.endsWith(QLatin1Char('/'))) {
        m_url.setPath(
            StorageNetwork::StorageNetworkPrivate::pathConcat(basePath, withoutLeadingSlash(prefix)),
            QUrl::DecodedMode);
    } else {
        const QString rest = withoutLeadingSlash(prefix);
        if (!rest.isEmpty()) {
            QStringList pieces = rest.split(QLatin1Char('/'), Qt::SkipEmptyParts);
            const QString partial = pieces.takeLast();
            QString folder = pieces.join(QLatin1Char('/'));
            if (!folder.isEmpty())
                folder.append(QLatin1Char('/'));
            const QString newPath = StorageNetwork::StorageNetworkPrivate::pathConcat(basePath, folder);
            m_url.setPath(newPath, QUrl::DecodedMode);
            m_nameFilter = m_url.path(QUrl::FullyDecoded) + partial;
            NorvikDebug("NKC").infoH() << "Listing destination folder:"
                                       << "path:" << newPath << "prefix:" << partial;
        } else {
            NorvikDebug("NKC").infoH() << "Listing destination folder:"
                                       << "path:" << basePath;
        }
    }
    if (m_queue.isEmpty() && m_storage)
        fetch();
}

void FTPDirIterator::fetch()
{
    QByteArray data;
    try {
        m_storage->get(m_url, data, QUuid());
    } catch (const Exception::FileNotFound&) {
        data.clear();
    }
    parsePaths(m_url.path(QUrl::FullyDecoded), data);
}

void FTPDirIterator::parsePaths(const QString& path, const QByteArray& data)
{
    const QStringList lines = QString::fromUtf8(data).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    m_emptyFolder = true;
    for (const QString& line : lines) {
        FSFtpInfo info(path, line);
        if (!info.isValid())
            continue;
        if (!m_nameFilter.isEmpty() && !info.path().startsWith(m_nameFilter))
            continue;
        m_queue.prepend(info);
        m_emptyFolder = false;
    }
}

bool FTPDirIterator::hasNext()
{
    if (!m_storage)
        return false;
    while (!m_queue.isEmpty() && !m_queue.constLast().isValid())
        m_queue.removeLast();
    return !m_queue.isEmpty();
}

FSFtpInfo FTPDirIterator::next()
{
    if (m_queue.isEmpty())
        return FSFtpInfo();
    m_current = m_queue.takeLast();
    if (!m_hasDelimiter && m_current.isValid() && m_current.isFolder() && !m_current.isLink() && m_storage) {
        m_url.setPath(m_current.path(), QUrl::DecodedMode);
        fetch();
    }
    return m_current;
}

QString FTPDirIterator::marker()
{
    return hasNext() ? m_queue.constLast().path() : QString();
}

void FTPDirIterator::regenerateKey()
{
    regenerateKey(marker());
}

void FTPDirIterator::regenerateKey(const QString& marker)
{
    m_key = makeKey(m_baseUrl, m_prefix, m_delimiter, marker);
}

QString FTPDirIterator::makeKey(const QUrl& url, const QString& prefix, const QString& delimiter,
                                const QString& marker)
{
    return QStringLiteral("|%1|%2|%3|%4").arg(url.toString(), prefix, delimiter, marker);
}

} // namespace Norvik::Cloud::Api
