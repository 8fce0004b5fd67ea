#include "streams/StreamManager.h"

#include <QMutexLocker>

namespace Norvik::Cloud {

StreamManager& StreamManager::instance()
{
    static StreamManager manager;
    return manager;
}

StreamManager::StreamManager() = default;

StreamManager::~StreamManager() = default;

QUuid StreamManager::add(QIODevice* device)
{
    if (!device)
        return {};
    QMutexLocker lock(&m_mutex);
    QUuid id = QUuid::createUuid();
    while (id.isNull() || m_streams.contains(id))
        id = QUuid::createUuid();
    m_streams.insert(id, device);
    return id;
}

QIODevice* StreamManager::get(const QUuid& id) const
{
    QMutexLocker lock(&m_mutex);
    return m_streams.value(id, nullptr);
}

void StreamManager::remove(const QUuid& id)
{
    QMutexLocker lock(&m_mutex);
    m_streams.remove(id);
}

} // namespace Norvik::Cloud
