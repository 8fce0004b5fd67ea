#pragma once

#include <QHash>
#include <QMutex>
#include <QUuid>

class QIODevice;

namespace Norvik::Cloud {

// The process-wide table of the caller's output devices that download jobs write into.
//
// A job document can only name a device, so the operation registers it here and the job looks
// it up by id. The devices stay the caller's: nothing here owns, opens or deletes them, and
// the caller keeps each one alive until its operation has finished.
class StreamManager
{
public:
    static StreamManager& instance();

    // A new id for device; the null id, with nothing registered, for a null pointer.
    QUuid add(QIODevice* device);
    // The device, or null for an unknown id.
    QIODevice* get(const QUuid& id) const;
    void remove(const QUuid& id);

private:
    StreamManager();
    ~StreamManager();
    StreamManager(const StreamManager&) = delete;
    StreamManager& operator=(const StreamManager&) = delete;

    QHash<QUuid, QIODevice*> m_streams;
    mutable QMutex m_mutex;
};

} // namespace Norvik::Cloud
