#include "operations/DownloadAuto2Stream.h"

#include "engine/JobFormat.h"
#include "streams/StreamManager.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>

#include <QIODevice>
#include <QMutexLocker>

#include <chrono>
#include <thread>

namespace Norvik::Cloud::Operation {

namespace {

// Codes that no further try can mend: TLS, container, bad request or data, unsupported,
// authorisation, not found, object state, writing the data.
bool isFinal(int code)
{
    switch (code) {
    case 5:
    case 6:
    case 7:
    case 8:
    case 9:
    case 13:
    case 18:
    case 23:
        return true;
    default:
        return false;
    }
}

constexpr int ShortBodyCode = 3;

} // namespace

DownloadAuto2Stream::DownloadAuto2Stream(const QMap<QString, QVariant>& config, const QString& path,
                                         QIODevice* device, unsigned long long position,
                                         unsigned long long size, bool useRange, QObject* parent)
    : IOperation(OperationType::DownloadAuto2Stream, config, parent)
    , m_path(path)
    , m_device(device)
    , m_position(position)
    , m_size(size)
    , m_start(device && device->pos() > 0 ? device->pos() : 0)
    , m_useRange(useRange)
{
}

DownloadAuto2Stream::~DownloadAuto2Stream()
{
    // A job that has not fetched the device yet then fails instead of writing into a device
    // whose owner may be about to destroy it.
    if (m_stage == StageSent)
        StreamManager::instance().remove(m_streamId);
}

QMap<QString, QVariant> DownloadAuto2Stream::metaData() const
{
    QMutexLocker lock(&m_mutex);
    return m_metaData;
}

QJsonDocument DownloadAuto2Stream::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage == StageFirst)
        return execJob();
    if (m_stage == StageRetryDue)
        return retryJob();
    return QJsonDocument();
}

void DownloadAuto2Stream::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (m_stage != StageSent || !result.isObject())
        return;
    execResult(result.object());
}

QJsonDocument DownloadAuto2Stream::execJob()
{
    if (m_useRange)
        return rangeJob(m_position, m_size - 1);
    m_streamId = StreamManager::instance().add(m_device);
    QJsonObject job = createJob(JobFormat::Download::ToStream::Type);
    job.insert(JobFormat::Download::CloudPath, m_path);
    job.insert(JobFormat::Download::ToStream::OutStreamId, m_streamId.toString());
    m_stage = StageSent;
    return QJsonDocument(job);
}

QJsonDocument DownloadAuto2Stream::rangeJob(unsigned long long position, unsigned long long size)
{
    m_streamId = StreamManager::instance().add(m_device);
    QJsonObject job = createJob(JobFormat::Download::Blob2Stream::Type);
    job.insert(JobFormat::Download::CloudPath, m_path);
    job.insert(JobFormat::Download::Blob2Stream::Position,
               QJsonValue::fromVariant(QVariant::fromValue(position)));
    job.insert(JobFormat::Download::Blob2Stream::Size, QJsonValue::fromVariant(QVariant::fromValue(size)));
    job.insert(JobFormat::Download::Blob2Stream::OutStreamId, m_streamId.toString());
    m_stage = StageSent;
    return QJsonDocument(job);
}

QJsonDocument DownloadAuto2Stream::retryJob()
{
    const unsigned long long done = static_cast<unsigned long long>(m_device->pos() - m_start);
    // After a whole-object first job the size is 0 and this wraps to a count past any object's
    // end: the storage then delivers the rest, whatever its length.
    const unsigned long long position = done + m_position;
    const unsigned long long size = m_size - done - 1;
    NorvikDebug("NKC").debug() << "Retry download path:" << m_path << "position:" << position
                               << "size:" << size;
    return rangeJob(position, size);
}

void DownloadAuto2Stream::execResult(const QJsonObject& result)
{
    StreamManager::instance().remove(
        QUuid(result.value(JobFormat::Download::ToStream::OutStreamId).toString()));
    StreamManager::instance().remove(m_streamId);

    if (!isSuccess(result)) {
        const int code = result.value(JobFormat::Result::ErrorCode).toInt();
        if (isFinal(code)) {
            fail(result, QStringLiteral("Operation error. Don't retry it"));
            return;
        }
        retryOrFail(result);
        return;
    }

    m_metaData = result.value(JobFormat::Result::ResultData).toObject().toVariantMap();
    unsigned long long expected = m_size;
    if (expected == 0)
        expected = m_metaData.value(QStringLiteral("content-length")).toULongLong();
    const long long downloaded = m_device->pos() - m_start;
    if (downloaded >= 0 && static_cast<unsigned long long>(downloaded) >= expected) {
        NorvikDebug("NKC").info() << "Operation auto download:"
                                  << "path:" << m_path << "download size:" << downloaded
                                  << "wait size:" << expected;
        m_stage = StageFinished;
        changeState(StateComplete, QString());
        return;
    }
    // A job can report success with a short body.
    NorvikDebug("NKC").warning() << "Operation auto download:"
                                 << "path:" << m_path << "download size:" << downloaded
                                 << "wait size:" << expected;
    retryOrFail(result);
}

void DownloadAuto2Stream::retryOrFail(const QJsonObject& result)
{
    const unsigned int limit =
        static_cast<unsigned int>(qMax(0, Core::GlobalConfig::instance().retryCount()));
    if (m_retries >= limit) {
        fail(result, QStringLiteral("Max retry count. operation failed"));
        return;
    }
    ++m_retries;
    NorvikDebug("NKC").info() << "Operation go to retry:"
                              << "path:" << m_path << m_retries.load() << "/" << limit;
    m_stage = StageRetryDue;
    // Deliberately on the task thread: the wait is short and rare, and the device's position
    // must not move while it lasts.
    std::this_thread::sleep_for(std::chrono::seconds(2 * m_retries.load()));
}

void DownloadAuto2Stream::fail(const QJsonObject& result, const QString& reason)
{
    NorvikDebug("NKC").warning() << "Finished with error, path:" << m_path << "message:" << reason;
    const int code = result.value(JobFormat::Result::ErrorCode).toInt();
    setErrorCode(code == 0 ? ShortBodyCode : code);
    setCloudError(result.value(JobFormat::Result::CloudError).toString());
    m_stage = StageFinished;
    changeState(StateError,
                isSuccess(result) ? QString() : result.value(JobFormat::Result::ErrorMessage).toString());
}

} // namespace Norvik::Cloud::Operation
