#include "operations/Download2Stream.h"

#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"
#include "streams/StreamManager.h"

#include <NorvikCore/NorvikDebug.h>

#include <QIODevice>
#include <QMutexLocker>

namespace Norvik::Cloud {

namespace Operation {

Download2Stream::Download2Stream(const QMap<QString, QVariant>& config, const QString& path,
                                 QIODevice* device, QObject* parent)
    : IOperation(OperationType::Download2Stream, config, parent)
    , m_path(path)
    , m_device(device)
{
}

Download2Stream::~Download2Stream()
{
    // A job that has not fetched the device yet then fails instead of writing into a device
    // whose owner may be about to destroy it.
    if (m_stage == StageSent)
        StreamManager::instance().remove(m_streamId);
}

QJsonDocument Download2Stream::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage != StageIdle)
        return QJsonDocument();
    return execJob();
}

void Download2Stream::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject() || m_stage != StageSent)
        return;
    execResult(result.object());
}

QJsonDocument Download2Stream::execJob()
{
    m_streamId = StreamManager::instance().add(m_device);
    QJsonObject job = createJob(JobFormat::Download::ToStream::Type);
    job.insert(JobFormat::Download::CloudPath, m_path);
    job.insert(JobFormat::Download::ToStream::OutStreamId, m_streamId.toString());
    m_stage = StageSent;
    return QJsonDocument(job);
}

void Download2Stream::execResult(const QJsonObject& result)
{
    // The id the job was given; every result echoes it.
    StreamManager::instance().remove(m_streamId);
    m_stage = StageResult;
    if (isSuccess(result)) {
        m_metaData = result.value(JobFormat::Result::ResultData).toObject().toVariantMap();
        changeState(StateComplete, QString());
    } else {
        failWithResult(result);
    }
}

} // namespace Operation

QJsonDocument download2Stream(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();

    const QString container = job[OperationConfig::ContainerName].toString();
    const QString path = job[JobFormat::Download::CloudPath].toString();
    const QUuid operationId(job[JobFormat::Id].toString());
    QIODevice* device =
        StreamManager::instance().get(QUuid(job[JobFormat::Download::ToStream::OutStreamId].toString()));
    if (!device)
        return JobResult::failure(job);

    NorvikDebug("NKC").debug() << "Start Download File job, cloud path:" << path;
    QMap<QString, QVariant> metaData;
    connection->download(container, path, *device, metaData, operationId);
    NorvikDebug("NKC").debug() << "Finished Download File job, cloud path:" << path;

    return JobResult::success(job, QJsonObject::fromVariantMap(metaData));
}

} // namespace Norvik::Cloud
