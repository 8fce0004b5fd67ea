#include "streams/MemoryManager.h"

#include "engine/OperationManager.h"

#include <NorvikCore/NorvikDebug.h>

#include <QIODevice>
#include <QMutexLocker>

#include <algorithm>
#include <limits>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace Norvik::Cloud {

namespace {

// The longest QByteArray that Qt 5 can allocate, with room for its header and terminator.
constexpr unsigned long long LargestArray = std::numeric_limits<int>::max() - 64;

} // namespace

MemoryManager& MemoryManager::instance()
{
    static MemoryManager manager;
    return manager;
}

MemoryManager::MemoryManager()
    : m_limit(OperationManager::memoryUsed())
{
#ifdef __GLIBC__
    // Parts are large arrays that live for one request, made and freed on many threads. glibc
    // raises its mmap threshold to the size of every mmapped block that is freed, after which
    // parts come from the heap arena of whichever thread made them and stay with the process
    // when freed: the resident set climbs to the sum of every arena's peak, far above the
    // budget. A fixed threshold keeps blocks of a megabyte and more mmapped, so that a freed
    // part goes back to the system at once.
    mallopt(M_MMAP_THRESHOLD, 1024 * 1024);
#endif
}

MemoryManager::~MemoryManager() = default;

bool MemoryManager::hasMemory(unsigned long long size) const
{
    QMutexLocker lock(&m_mutex);
    return fits(size);
}

QUuid MemoryManager::tryAdd(unsigned long long size, QIODevice& device)
{
    QMutexLocker lock(&m_mutex);
    if (!fits(size))
        return {};

    // A part beyond what one array can hold is cut at that length; the device is then not at
    // its end, so the next part carries on where this one stopped.
    const qint64 wanted = static_cast<qint64>(std::min(size, LargestArray));
    QByteArray data(static_cast<int>(wanted), Qt::Uninitialized);
    qint64 got = 0;
    // One read() may deliver less than asked without the device having ended (a device that
    // hands out blocks), so keep asking until it has nothing more.
    while (got < wanted) {
        const qint64 count = device.read(data.data() + got, wanted - got);
        if (count < 0 && !device.isSequential()) {
            NorvikDebug("NKC").warning()
                << "MemoryManager::tryAdd: read failed, message:" << device.errorString() << "read:" << got;
        }
        if (count <= 0)
            break;
        got += count;
    }
    if (got < wanted) {
        data.resize(static_cast<int>(got));
        data.squeeze();
    }
    return insert(data);
}

QUuid MemoryManager::add(const QByteArray& data)
{
    QMutexLocker lock(&m_mutex);
    if (!fits(static_cast<unsigned long long>(data.size())))
        return {};
    return insert(data);
}

QUuid MemoryManager::tryReserved(unsigned long long size)
{
    QMutexLocker lock(&m_mutex);
    if (!fits(size))
        return {};
    if (size > LargestArray) {
        NorvikDebug("NKC").warning() << "MemoryManager::tryReserved: size exceeds the largest buffer, size:"
                                     << size;
        return {};
    }
    return insert(QByteArray(static_cast<int>(size), '0'));
}

bool MemoryManager::setReserved(const QUuid& id, const QByteArray& data)
{
    QByteArray replaced; // released after the lock
    QMutexLocker lock(&m_mutex);
    const auto it = m_buffers.find(id);
    if (it == m_buffers.end())
        return false;
    replaced = *it;
    *it = data;
    return true;
}

QByteArray MemoryManager::get(const QUuid& id) const
{
    QMutexLocker lock(&m_mutex);
    return m_buffers.value(id);
}

void MemoryManager::remove(const QUuid& id)
{
    QByteArray released; // freed after the lock
    QMutexLocker lock(&m_mutex);
    const auto it = m_buffers.find(id);
    if (it == m_buffers.end())
        return;
    released = *it;
    m_buffers.erase(it);
    // The length stored now is given back, not the length charged: a reservation replaced by
    // longer data must not drive the count below zero and wrap round.
    m_used -= std::min(m_used, static_cast<unsigned long long>(released.size()));
}

unsigned long long MemoryManager::used() const
{
    QMutexLocker lock(&m_mutex);
    return m_used;
}

bool MemoryManager::fits(unsigned long long size) const
{
    // Compared as room left rather than used + size, which a huge size would wrap round.
    return size <= m_limit - std::min(m_used, m_limit);
}

QUuid MemoryManager::insert(const QByteArray& data)
{
    QUuid id = QUuid::createUuid();
    while (id.isNull() || m_buffers.contains(id))
        id = QUuid::createUuid();
    m_buffers.insert(id, data);
    m_used += static_cast<unsigned long long>(data.size());
    return id;
}

} // namespace Norvik::Cloud
