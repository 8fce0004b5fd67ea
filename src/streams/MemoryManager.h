#pragma once

#include <QByteArray>
#include <QHash>
#include <QMutex>
#include <QUuid>

class QIODevice;

namespace Norvik::Cloud {

// The process-wide store of part data held in memory, under one byte budget.
//
// Jobs are JSON documents and cannot carry the bytes of a part, so the operation parks them
// here and the job names them by id. The budget is OperationManager::memoryUsed() at the time
// of the first instance() and stays fixed from then on. A refusal (a null id) is never final:
// the caller asks again on its next pass, once results have freed some room.
class MemoryManager
{
public:
    static MemoryManager& instance();

    // Whether size more bytes would fit in the budget now.
    bool hasMemory(unsigned long long size) const;
    // Reads up to size bytes from device and parks them. Null, with nothing read, when size
    // bytes would not fit. The budget is charged with the length actually read, which is
    // shorter when the device ends first. Exceptions thrown by the device pass through.
    QUuid tryAdd(unsigned long long size, QIODevice& device);
    // Parks a shared copy of data; null when it would not fit.
    QUuid add(const QByteArray& data);
    // Charges size bytes now for data that a job will deliver later through setReserved().
    // The reservation is really allocated, so the budget always matches memory in use.
    QUuid tryReserved(unsigned long long size);
    // Replaces the bytes of an entry without touching the budget; false for an unknown id.
    bool setReserved(const QUuid& id, const QByteArray& data);
    // A shared copy of the bytes (no bytes are copied), or an empty array for an unknown id.
    QByteArray get(const QUuid& id) const;
    // Forgets an entry and gives its current length back to the budget.
    void remove(const QUuid& id);

    unsigned long long limit() const { return m_limit; }
    unsigned long long used() const;

private:
    MemoryManager();
    ~MemoryManager();
    MemoryManager(const MemoryManager&) = delete;
    MemoryManager& operator=(const MemoryManager&) = delete;

    bool fits(unsigned long long size) const;
    QUuid insert(const QByteArray& data);

    const unsigned long long m_limit;
    unsigned long long m_used = 0;
    QHash<QUuid, QByteArray> m_buffers;
    mutable QMutex m_mutex;
};

} // namespace Norvik::Cloud
