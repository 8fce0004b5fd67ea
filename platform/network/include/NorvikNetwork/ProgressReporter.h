#pragma once

#include <QString>
#include <QUuid>

#include <functional>

namespace Norvik::Network::Utility {

// Where every transfer of the process reports its progress, by operation id. The
// application observes it by installing a listener; without one, reports cost a function call.
class ProgressReporter
{
public:
    struct Event
    {
        enum Kind
        {
            Progress,
            DownloadRegistered,
            Finished,
            Error
        };
        Kind kind = Progress;
        QUuid id;
        QUuid parent;        // DownloadRegistered only
        QString path;        // DownloadRegistered only
        qint64 size = 0;     // DownloadRegistered only
        qint64 received = 0; // Progress: bytes received since the last report
        qint64 sent = 0;     // Progress: bytes sent since the last report
    };
    // Called on the transferring thread; must be quick and must not block.
    using Listener = std::function<void(const Event&)>;

    // An empty function removes the listener.
    static void setListener(Listener listener);

    static void update(const QUuid& id, qint64 received, qint64 sent);
    static void registrateDownload(const QUuid& id, const QString& path, unsigned long long size,
                                   const QUuid& parent);
    static void finished(const QUuid& id);
    static void error(const QUuid& id);
};

} // namespace Norvik::Network::Utility
