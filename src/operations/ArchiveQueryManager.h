#pragma once

#include <QDateTime>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QSharedPointer>
#include <QTimer>
#include <QVariant>

namespace Norvik::Cloud {

class IOperation;

namespace Api {
class ArchiveOption;
}

namespace Operation::Archive {
class CheckReadyForDownload;
class PrepareForDownload;
} // namespace Operation::Archive

// Drives the restore of many archived objects of one cloud configuration: check() a path, and
// the manager answers by signal, polling the storage on a timer until the object is ready.
//
// For a new path the manager first asks whether it is ready. If not, PolicyAsk reports
// needChangeTier and forgets the path (the application decides, and may call check() again
// with PolicyRestore); PolicyRestore starts a restore, reports waitingChangeTier, and polls at
// the option's intervals until readyForDownload. A failure reports error and forgets the path.
// A path found ready stays ready for the manager's life.
//
// Lives on the thread that made it, which needs an event loop. Signals are emitted under the
// manager's mutex: a slot connected directly must not call check().
class ArchiveQueryManager : public QObject
{
    Q_OBJECT

public:
    enum Policy
    {
        PolicyAsk = 0,
        PolicyRestore = 1,
    };

    // config must be of a storage with an archive tier (Amazon S3, Azure Blob).
    explicit ArchiveQueryManager(QMap<QString, QVariant> config, QObject* parent = nullptr);
    ~ArchiveQueryManager() override;

    void check(const QString& path, Policy policy);

    // The poll timer's period (default 60000 ms) and the length of one second of the option's
    // intervals (default 1000 ms), for tests that cannot wait for hours.
    void setTimerInterval(int msec);
    void setSecondLength(int msec);

signals:
    void readyForDownload(const QString& cloudPath);
    void waitingChangeTier(const QString& cloudPath);
    void needChangeTier(const QString& cloudPath);
    void error(const QString& cloudPath, int code, const QString& message);

public slots:
    void onOperationFinished();
    void checkReady();

private:
    QByteArray cacheKey(const QString& path) const;
    // Starts a check of path, under the mutex.
    void startCheck(const QString& path);
    void startOperation(const QByteArray& key, const QSharedPointer<IOperation>& operation);
    void schedule(const QString& path, unsigned long long seconds);
    void onOperationPrepareForDownload(Operation::Archive::PrepareForDownload* operation);
    void onOperationCheckReadyForDownload(Operation::Archive::CheckReadyForDownload* operation);

    const QMap<QString, QVariant> m_config;
    const QSharedPointer<Api::ArchiveOption> m_option;
    QMutex m_mutex;
    QTimer m_timer;
    QSet<QByteArray> m_waiting;
    QMap<QByteArray, QSharedPointer<IOperation>> m_operations;
    QMultiMap<QDateTime, QString> m_schedule;
    QMap<QByteArray, Policy> m_policies;
    QSet<QByteArray> m_ready;
    int m_secondLength = 1000;
};

} // namespace Norvik::Cloud
