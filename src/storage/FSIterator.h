#pragma once

#include <QSharedPointer>
#include <QString>

class QDirIterator;

namespace Norvik::Cloud::Api {

// One paged walk over the storage tree. The marker of a page is the count of entries the walk
// has handed out, so a page can be continued by a new walk even when the parked one is gone.
class FSIterator
{
public:
    // root is the storage's local path with its trailing separator. A prefix that ends in a
    // separator names the folder to walk, and throws the bare text "change dir is not found: %1"
    // when it is missing; any other prefix filters the walk from the root. An empty delimiter
    // walks the whole tree below, any other lists one level. The walk skips the marker's count
    // of entries.
    FSIterator(const QString& root, const QString& prefix, const QString& delimiter, const QString& marker);
    ~FSIterator();
    FSIterator(const FSIterator&) = delete;
    FSIterator& operator=(const FSIterator&) = delete;

    bool hasNext() const;
    // The absolute path of the next entry that passes the filter; empty at the end.
    QString next();
    // The count of entries handed out while the walk has more, else empty.
    QString marker() const;
    // Where the walk is parked between pages: its arguments, with the count as the marker.
    QString key() const;

    static QString makeKey(const QString& root, const QString& prefix, const QString& delimiter,
                           const QString& marker);

private:
    QSharedPointer<QDirIterator> m_iterator;
    QString m_root;
    QString m_prefix;
    QString m_delimiter;
    int m_count = 0;
    QString m_pathFilter;
};

} // namespace Norvik::Cloud::Api
