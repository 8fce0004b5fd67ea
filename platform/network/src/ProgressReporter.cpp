#include "NorvikNetwork/ProgressReporter.h"

#include <QMutex>
#include <QMutexLocker>

#include <atomic>

namespace Norvik::Network::Utility {

namespace {

QMutex& listenerMutex()
{
    static QMutex mutex;
    return mutex;
}

ProgressReporter::Listener& installedListener()
{
    static ProgressReporter::Listener listener;
    return listener;
}

// Spares the transfer callbacks the lock while nobody listens.
std::atomic<bool> g_hasListener{false};

void report(const ProgressReporter::Event& event)
{
    if (!g_hasListener.load(std::memory_order_acquire))
        return;
    ProgressReporter::Listener listener;
    {
        QMutexLocker lock(&listenerMutex());
        listener = installedListener();
    }
    // Called outside the lock, so that a listener may install another one.
    if (listener)
        listener(event);
}

} // namespace

void ProgressReporter::setListener(Listener listener)
{
    QMutexLocker lock(&listenerMutex());
    g_hasListener.store(static_cast<bool>(listener), std::memory_order_release);
    installedListener() = std::move(listener);
}

void ProgressReporter::update(const QUuid& id, qint64 received, qint64 sent)
{
    Event event;
    event.kind = Event::Progress;
    event.id = id;
    event.received = received;
    event.sent = sent;
    report(event);
}

void ProgressReporter::registrateDownload(const QUuid& id, const QString& path, unsigned long long size,
                                          const QUuid& parent)
{
    Event event;
    event.kind = Event::DownloadRegistered;
    event.id = id;
    event.path = path;
    event.size = static_cast<qint64>(size);
    event.parent = parent;
    report(event);
}

void ProgressReporter::finished(const QUuid& id)
{
    Event event;
    event.kind = Event::Finished;
    event.id = id;
    report(event);
}

void ProgressReporter::error(const QUuid& id)
{
    Event event;
    event.kind = Event::Error;
    event.id = id;
    report(event);
}

} // namespace Norvik::Network::Utility
