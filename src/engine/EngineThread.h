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
    // Closes the sockets the thread made for itself. Only once every thread of the engine has
    // ended: nanomsg may still be delivering to a peer of a socket while that socket closes,
    // and then calls into freed memory (seen with inproc PUB/SUB in nanomsg 1.1.5).
    virtual void closeSockets() = 0;

protected:
    virtual void run() = 0;

private:
    static void* startThread(void* thread);

    const QUuid m_id;
    pthread_t m_thread = 0;
};

} // namespace Norvik::Cloud
