#include "operations/DownloadBlob2Stream.h"

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

DownloadBlob2Stream::DownloadBlob2Stream(const QMap<QString, QVariant>& config, const QString& path,
                                         unsigned long long position, unsigned long long size,
                                         QIODevice* device, QObject* parent)
    : IOperation(OperationType::DownloadBlob2Stream, config, parent)
    , m_path(path, QUrl::TolerantMode)
    , m_position(position)
    , m_size(size)
    , m_device(device)
{
}

DownloadBlob2Stream::~DownloadBlob2Stream()
{
    // A job that has not fetched the device yet then fails instead of writing into a device
    // whose owner may be about to destroy it.
    if (m_stage == StageSent)
        StreamManager::instance().remove(m_streamId);
}

QJsonDocument DownloadBlob2Stream::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage != StageIdle)
        return QJsonDocument();
    return execJob();
}

void DownloadBlob2Stream::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject() || m_stage != StageSent)
        return;
    execResult(result.object());
}

QJsonDocument DownloadBlob2Stream::execJob()
{
    m_streamId = StreamManager::instance().add(m_device);
    QJsonObject job = createJob(JobFormat::Download::Blob2Stream::Type);
    job.insert(JobFormat::Download::CloudPath, m_path.toString());
    job.insert(JobFormat::Download::Blob2Stream::Position,
               QJsonValue::fromVariant(QVariant::fromValue(m_position)));
    job.insert(JobFormat::Download::Blob2Stream::Size, QJsonValue::fromVariant(QVariant::fromValue(m_size)));
    job.insert(JobFormat::Download::Blob2Stream::OutStreamId, m_streamId.toString());
    m_stage = StageSent;
    return QJsonDocument(job);
}

void DownloadBlob2Stream::execResult(const QJsonObject& result)
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

QJsonDocument downloadBlob2Stream(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();

    const QString container = job[OperationConfig::ContainerName].toString();
    const QString path = job[JobFormat::Download::CloudPath].toString();
    const auto position = job[JobFormat::Download::Blob2Stream::Position].toVariant().value<quint64>();
    const auto size = job[JobFormat::Download::Blob2Stream::Size].toVariant().value<quint64>();
    const QUuid operationId(job[JobFormat::Id].toString());
    QIODevice* device =
        StreamManager::instance().get(QUuid(job[JobFormat::Download::Blob2Stream::OutStreamId].toString()));
    if (!device)
        return JobResult::failure(job);

    NorvikDebug("NKC").debug() << "Start Download Blob2File job, cloud path:" << path
                               << "position:" << position << "size:" << size;
    QMap<QString, QVariant> metaData;
    connection->download(container, path, static_cast<qint64>(position), static_cast<qint64>(size), *device,
                         metaData, operationId);
    NorvikDebug("NKC").debug() << "Finished Download Blob2File job, cloud path:" << path;

    return JobResult::success(job, QJsonObject::fromVariantMap(metaData));
}

} // namespace Norvik::Cloud
