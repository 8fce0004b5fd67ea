#include "operations/DownloadBlob.h"

#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"
#include "streams/MemoryManager.h"

#include <NorvikCore/NorvikDebug.h>

#include <QMutexLocker>

namespace Norvik::Cloud {

namespace Operation {

DownloadBlob::DownloadBlob(const QMap<QString, QVariant>& config, const QString& path,
                           unsigned long long position, unsigned long long size, QObject* parent)
    : IOperation(OperationType::DownloadBlob, config, parent)
    , m_path(path)
    , m_position(position)
    , m_size(size)
{
}

DownloadBlob::~DownloadBlob()
{
    // A client that drops the operation while its job is out would otherwise leave the
    // reservation charged against the budget for the life of the process. The job then finds
    // it gone and fails.
    if (m_stage == StageSent)
        releaseReservation(MemoryManager::instance().get(m_memoryId));
}

QJsonDocument DownloadBlob::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage != StageIdle)
        return QJsonDocument();
    return execJob();
}

void DownloadBlob::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject() || m_stage != StageSent)
        return;
    execResult(result.object());
}

QJsonDocument DownloadBlob::execJob()
{
    // The reservation is size bytes, one less than the storage delivers; setReserved swaps the
    // bytes in without touching the budget, so the odd byte is never charged.
    const QUuid memoryId = MemoryManager::instance().tryReserved(m_size);
    if (memoryId.isNull())
        return QJsonDocument(); // the budget is used up: asked again on the next pass
    m_memoryId = memoryId;

    QJsonObject job = createJob(JobFormat::Download::Blob::Type);
    job.insert(JobFormat::Download::CloudPath, m_path);
    job.insert(JobFormat::Download::Blob::Position, QJsonValue::fromVariant(QVariant::fromValue(m_position)));
    job.insert(JobFormat::Download::Blob::Size, QJsonValue::fromVariant(QVariant::fromValue(m_size)));
    job.insert(JobFormat::Download::Blob::MemoryId, memoryId.toString());
    m_stage = StageSent;
    return QJsonDocument(job);
}

void DownloadBlob::execResult(const QJsonObject& result)
{
    // The reservation goes whatever the job's outcome, so that a failed download gives its
    // memory back too.
    // The id the job was given; every result echoes it.
    m_data = MemoryManager::instance().get(m_memoryId);
    releaseReservation(m_data);

    m_stage = StageResult;
    if (isSuccess(result)) {
        m_metaData = result.value(JobFormat::Result::ResultData).toObject().toVariantMap();
        changeState(StateComplete, QString());
    } else {
        failWithResult(result);
    }
}

void DownloadBlob::releaseReservation(const QByteArray& held)
{
    // The registry gives back the length it holds at removal, not the length it charged, and
    // the storage delivers one byte more than was reserved, or fewer near the end of the
    // object. Left alone, each download would shift the budget for the rest of the process
    // (a range past the end would keep the unused reservation charged for ever). So the entry
    // is made to hold exactly the charged length before it goes: a view on the delivered
    // bytes when they are longer, an untouched allocation when they are shorter.
    const auto charged = static_cast<int>(m_size);
    if (held.size() > charged)
        MemoryManager::instance().setReserved(m_memoryId, QByteArray::fromRawData(held.constData(), charged));
    else if (held.size() < charged)
        MemoryManager::instance().setReserved(m_memoryId, QByteArray(charged, Qt::Uninitialized));
    MemoryManager::instance().remove(m_memoryId);
}

} // namespace Operation

QJsonDocument downloadBlob(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();

    const QString container = job[OperationConfig::ContainerName].toString();
    const QString path = job[JobFormat::Download::CloudPath].toString();
    const auto position = job[JobFormat::Download::Blob::Position].toVariant().value<quint64>();
    const auto size = job[JobFormat::Download::Blob::Size].toVariant().value<quint64>();
    const QUuid memoryId(job[JobFormat::Download::Blob::MemoryId].toString());
    const QUuid operationId(job[JobFormat::Id].toString());

    if (memoryId.isNull())
        return JobResult::failure(job);

    NorvikDebug("NKC").debug() << "Start Download Blob job"
                               << "cloud path:" << path << "position:" << position << "size:" << size;
    QMap<QString, QVariant> metaData;
    const QByteArray bytes = connection->download(container, path, static_cast<qint64>(position),
                                                  static_cast<qint64>(size), metaData, operationId);
    NorvikDebug("NKC").debug() << "Finished Download Blob job"
                               << "cloud path:" << path << "received:" << bytes.size();

    // The operation may have gone meanwhile, and its reservation with it.
    if (!MemoryManager::instance().setReserved(memoryId, bytes))
        return JobResult::failure(job);
    return JobResult::success(job, QJsonObject::fromVariantMap(metaData));
}

} // namespace Norvik::Cloud
