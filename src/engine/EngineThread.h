#pragma once

#include <QUuid>

#include <pthread.h>

namespace Norvik::Cloud {

// A plain POSIX thread of the engine with an id of its own. The engine's threads speak to
// each other only through nanomsg sockets, so nothing here needs a Qt event loop.
class EngineThread
{
public:
    EngineThread();
    virtual ~EngineThread();
    EngineThread(const EngineThread&) = delete;
    EngineThread& operator=(const EngineThread&) = delete;

    void start();
    void join();
    // Waits at most timeoutMs for the thread to end; true once it has been joined.
    bool tryJoin(int timeoutMs);
    const QUuid& id() const { return m_id; }

protected:
    virtual void run() = 0;

private:
    static void* startThread(void* thread);

    const QUuid m_id;
    pthread_t m_thread = 0;
};

} // namespace Norvik::Cloud
