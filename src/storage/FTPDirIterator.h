#pragma once

#include "storage/FSFtpInfo.h"

#include <QList>
#include <QString>
#include <QUrl>

namespace Norvik::Cloud::Api {

class StorageFtpPrivate;

// A walk over a folder of a file server, or over its whole tree when the delimiter is empty
// (breadth first, in the order of the server's listings). It fetches one folder at a time, so
// it can be suspended between pages and resumed with another connection.
class FTPDirIterator
{
public:
    // url is the base folder; the prefix narrows the walk to a folder below it ("a/b/") or to
    // the entries of a folder whose names begin with its last piece ("a/b/na"). A missing
    // folder makes an empty walk; other failures of the first fetch are thrown.
    FTPDirIterator(StorageFtpPrivate* storage, const QUrl& url, const QString& prefix,
                   const QString& delimiter, const QString& marker);

    bool hasNext();
    // The next entry; in a walk of the tree, a folder's content joins the walk here.
    FSFtpInfo next();
    // The full path of the entry that comes next; empty at the end.
    QString marker();
    const QString& key() const { return m_key; }
    void regenerateKey();
    void regenerateKey(const QString& marker);
    static QString makeKey(const QUrl& url, const QString& prefix, const QString& delimiter,
                           const QString& marker);
    // Whether the folder parsed last had no entry that passed the name filter.
    bool isEmptyFolder() const { return m_emptyFolder; }
    // A resumed walk fetches through the connection of the job at hand.
    void setStorageObject(StorageFtpPrivate* storage) { m_storage = storage; }

private:
    void fetch();
    void parsePaths(const QString& path, const QByteArray& data);

    StorageFtpPrivate* m_storage = nullptr;
    bool m_emptyFolder = true;
    QUrl m_baseUrl;
    QUrl m_url;
    QString m_prefix;
    QString m_delimiter;
    QString m_nameFilter;
    QString m_key;
    FSFtpInfo m_current;
    bool m_hasDelimiter = false;
    // Entries are added at the front and taken from the back.
    QList<FSFtpInfo> m_queue;
};

} // namespace Norvik::Cloud::Api
