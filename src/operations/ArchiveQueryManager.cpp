#include "operations/ArchiveQueryManager.h"

#include "engine/IOperation.h"
#include "engine/OperationManager.h"
#include "operations/ArchiveCheckReadyForDownload.h"
#include "operations/ArchiveOption.h"
#include "operations/ArchivePrepareForDownload.h"

#include <NorvikCore/NorvikDebug.h>

#include <QCryptographicHash>
#include <QMutexLocker>

namespace Norvik::Cloud {

namespace {

const char* const ClassName = "ArchiveQueryManager";

} // namespace

ArchiveQueryManager::ArchiveQueryManager(QMap<QString, QVariant> config, QObject* parent)
    : QObject(parent)
    , m_config(std::move(config))
    , m_option(Archive::ArchiveOptionFactory::create(m_config))
{
    connect(&m_timer, &QTimer::timeout, this, &ArchiveQueryManager::checkReady, Qt::QueuedConnection);
    m_timer.start(60000);
}

ArchiveQueryManager::~ArchiveQueryManager()
{
    // Operations still running finish unseen; they are removed from the engine's registry.
    for (const QSharedPointer<IOperation>& operation : qAsConst(m_operations)) {
        operation->disconnect(this);
        operation->remove();
    }
}

void ArchiveQueryManager::setTimerInterval(int msec)
{
    m_timer.start(msec);
}

void ArchiveQueryManager::setSecondLength(int msec)
{
    QMutexLocker lock(&m_mutex);
    m_secondLength = msec;
}

QByteArray ArchiveQueryManager::cacheKey(const QString& path) const
{
    return QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5);
}

void ArchiveQueryManager::check(const QString& path, Policy policy)
{
    QMutexLocker lock(&m_mutex);
    const QByteArray key = cacheKey(path);
    if (m_ready.contains(key)) {
        emit readyForDownload(path);
    } else if (m_waiting.contains(key)) {
        emit waitingChangeTier(path);
    } else if (!m_policies.contains(key)) {
        startCheck(path);
        m_policies.insert(key, policy);
    }
}

void ArchiveQueryManager::startCheck(const QString& path)
{
    startOperation(cacheKey(path), OperationManager::instance().archiveCheckReadyForDownload(m_config, path));
}

void ArchiveQueryManager::startOperation(const QByteArray& key, const QSharedPointer<IOperation>& operation)
{
    if (!operation)
        return;
    connect(operation.data(), &IOperation::finished, this, &ArchiveQueryManager::onOperationFinished,
            Qt::QueuedConnection);
    m_operations.insert(key, operation);
    operation->exec();
}

void ArchiveQueryManager::checkReady()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QMutexLocker lock(&m_mutex);
    while (!m_schedule.isEmpty() && m_schedule.firstKey() <= now) {
        const QDateTime time = m_schedule.firstKey();
        const QStringList paths = m_schedule.values(time);
        m_schedule.remove(time);
        for (const QString& path : paths)
            startCheck(path);
    }
}

void ArchiveQueryManager::schedule(const QString& path, unsigned long long seconds)
{
    const QDateTime next = QDateTime::currentDateTimeUtc().addMSecs(qint64(seconds) * m_secondLength);
    NorvikDebug("NKC").info() << "Archive::PrepareForDownload: next pool time is" << next.toLocalTime() << "("
                              << seconds << "sec )"
                              << "path:" << path;
    m_schedule.insert(next, path);
}

void ArchiveQueryManager::onOperationFinished()
{
    auto* operation = qobject_cast<IOperation*>(sender());
    if (!operation)
        return;
    operation->remove();
    QSharedPointer<IOperation> held;
    if (auto* prepare = qobject_cast<Operation::Archive::PrepareForDownload*>(operation)) {
        {
            QMutexLocker lock(&m_mutex);
            held = m_operations.take(cacheKey(prepare->path()));
        }
        onOperationPrepareForDownload(prepare);
    } else if (auto* check = qobject_cast<Operation::Archive::CheckReadyForDownload*>(operation)) {
        {
            QMutexLocker lock(&m_mutex);
            held = m_operations.take(cacheKey(check->path()));
        }
        onOperationCheckReadyForDownload(check);
    }
}

void ArchiveQueryManager::onOperationCheckReadyForDownload(
    Operation::Archive::CheckReadyForDownload* operation)
{
    QMutexLocker lock(&m_mutex);
    const QString path = operation->path();
    const QByteArray key = cacheKey(path);
    const auto forget = [&] {
        if (!m_waiting.remove(key))
            m_policies.remove(key);
    };
    if (operation->state() != IOperation::StateComplete) {
        NorvikDebug("NKC").error() << ClassName
                                   << "Error on archive operation CheckReadyForDownload, path:" << path
                                   << "error code:" << operation->errorCode()
                                   << "message:" << operation->errorMessage();
        forget();
        emit error(path, operation->errorCode(), operation->errorMessage());
        return;
    }
    if (operation->isReady()) {
        NorvikDebug("NKC").info() << "Archive::PrepareForDownload: ready for download, path:" << path;
        forget();
        m_ready.insert(key);
        emit readyForDownload(path);
        return;
    }
    if (m_waiting.contains(key)) {
        schedule(path, m_option->checkInterval());
        return;
    }
    if (!m_policies.contains(key))
        return;
    if (m_policies.take(key) == PolicyAsk) {
        emit needChangeTier(path);
        return;
    }
    m_waiting.insert(key);
    startOperation(
        key, OperationManager::instance().archivePrepareForDownload(m_config, path, m_option->toJson()));
    emit waitingChangeTier(path);
}

void ArchiveQueryManager::onOperationPrepareForDownload(Operation::Archive::PrepareForDownload* operation)
{
    QMutexLocker lock(&m_mutex);
    const QString path = operation->path();
    const QByteArray key = cacheKey(path);
    if (operation->state() != IOperation::StateComplete) {
        NorvikDebug("NKC").error() << ClassName
                                   << "Error on archive operation PrepareForDownload, path:" << path
                                   << "error code:" << operation->errorCode()
                                   << "message:" << operation->errorMessage();
        m_waiting.remove(key);
        emit error(path, operation->errorCode(), operation->errorMessage());
        return;
    }
    switch (operation->result()) {
    case Operation::Archive::PrepareForDownload::Started:
        schedule(path, m_option->firstCheckInterval());
        break;
    case Operation::Archive::PrepareForDownload::AlreadyInProgress:
        // The restore's age is unknown: the regular interval, not the first one.
        schedule(path, m_option->checkInterval());
        break;
    default:
        m_waiting.remove(key);
        emit error(path, operation->errorCode(), operation->errorMessage());
        break;
    }
}

} // namespace Norvik::Cloud
