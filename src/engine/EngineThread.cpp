#include "engine/EngineThread.h"

#include <cerrno>
#include <ctime>

namespace Norvik::Cloud {

EngineThread::EngineThread()
    : m_id(QUuid::createUuid())
{
}

EngineThread::~EngineThread() = default;

void EngineThread::start()
{
    pthread_create(&m_thread, nullptr, &EngineThread::startThread, this);
}

void EngineThread::join()
{
    if (m_thread != 0) {
        pthread_join(m_thread, nullptr);
        m_thread = 0;
    }
}

bool EngineThread::tryJoin(int timeoutMs)
{
    if (m_thread == 0)
        return true;
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += timeoutMs / 1000;
    deadline.tv_nsec += long(timeoutMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    if (pthread_timedjoin_np(m_thread, nullptr, &deadline) == ETIMEDOUT)
        return false;
    m_thread = 0;
    return true;
}

void* EngineThread::startThread(void* thread)
{
    if (thread)
        static_cast<EngineThread*>(thread)->run();
    return nullptr;
}

} // namespace Norvik::Cloud
