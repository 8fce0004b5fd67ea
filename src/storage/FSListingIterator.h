#pragma once

#include <QHash>
#include <QMutex>
#include <QSharedPointer>
#include <QString>

namespace Norvik::Cloud::Api {

class FSIterator;

// Parks unfinished listing walks between pages, process-wide, so that a long tree is walked
// once rather than once a page. A parked walk stays until its key is asked for again.
class FSListingIterator
{
public:
    static FSListingIterator& instance();

    void add(const QString& key, const QSharedPointer<FSIterator>& walk);
    // Removes the walk parked under key and hands it out; null when there is none.
    QSharedPointer<FSIterator> take(const QString& key);

private:
    FSListingIterator() = default;

    QMutex m_mutex;
    QHash<QString, QSharedPointer<FSIterator>> m_walks;
};

} // namespace Norvik::Cloud::Api
