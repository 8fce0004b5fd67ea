#include "storage/FSListingIterator.h"

#include "storage/FSIterator.h"

#include <QMutexLocker>

namespace Norvik::Cloud::Api {

FSListingIterator& FSListingIterator::instance()
{
    static FSListingIterator walks;
    return walks;
}

void FSListingIterator::add(const QString& key, const QSharedPointer<FSIterator>& walk)
{
    QMutexLocker locker(&m_mutex);
    m_walks.insert(key, walk);
}

QSharedPointer<FSIterator> FSListingIterator::take(const QString& key)
{
    QMutexLocker locker(&m_mutex);
    return m_walks.take(key);
}

} // namespace Norvik::Cloud::Api
