#include "operations/UploadMultipart.h"

#include "connection/FileSourceCloudError.h"
#include "connection/IConnection.h"
#include "connection/MultipartListPartObject.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/InfoBase.h"
#include "info/InfoFactory.h"
#include "operations/JobResult.h"
#include "streams/MemoryManager.h"
#include "streams/TemporaryFile.h"
#include "streams/TemporaryFileManager.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikStreams/SourceFileException.h>

#include <QIODevice>
#include <QJsonArray>
#include <QMutexLocker>

#include <algorithm>
#include <limits>

namespace Norvik::Cloud {

namespace {

// Code of a failure to prepare the upload's data, and of a change of its source (which comes
// with an error record).
constexpr int PrepareFailedCode = 3;
constexpr int SourceChangedCode = 29;

// Parts of this size or more go to temporary files. The registry fixed its budget when it was
// first used; a budget raised later must not send parts to memory that can never hold them.
unsigned long long memoryBudget()
{
    return std::min<unsigned long long>(OperationManager::memoryUsed(), MemoryManager::instance().limit());
}

// One memory buffer holds no more than a QByteArray can; a larger part is cut there and the
// rest follows as the next part.
constexpr unsigned long long LargestMemoryPart = std::numeric_limits<int>::max() - 64;

bool parallelParts(const QMap<QString, QVariant>& config)
{
    const QSharedPointer<Info::Base> info = Info::InfoFactory::create(config);
    return !info || info->supportMultipartThread();
}

} // namespace

namespace Operation {

UploadMultipart::UploadMultipart(const QMap<QString, QVariant>& config, const QString& path,
                                 const QMap<QString, QVariant>& meta, QIODevice* device,
                                 const QByteArray& uploadInfo, QObject* parent)
    : IUpload(OperationType::UploadMultipart, config, path, meta, device, parent)
    , m_partSize(config.value(OperationConfig::ChunkSize).toULongLong())
    , m_parallel(parallelParts(config))
{
    if (!uploadInfo.isEmpty()) {
        QMap<QString, QVariant> continued = cloudConfig();
        continued.insert(JobFormat::UploadMultipart::UploadInfo, QString::fromUtf8(uploadInfo));
        setCloudConfig(continued);
        m_uploadInfo = uploadInfo;
    }
}

UploadMultipart::~UploadMultipart()
{
    // A job still running keeps what it took from the registry; only the entries go.
    for (auto it = m_partsOut.cbegin(); it != m_partsOut.cend(); ++it)
        releaseBuffer(it.value(), it.key());
}

QByteArray UploadMultipart::multipartUploadInfo() const
{
    QMutexLocker lock(&m_uploadInfoMutex);
    return m_uploadInfo;
}

QJsonDocument UploadMultipart::makeJobPrivate()
{
    switch (m_stage) {
    case StageNotBegun:
        return beginMultipart();
    case StageParts:
        return uploadPart();
    case StageReadyToEnd:
        return endMultipart();
    default:
        return QJsonDocument();
    }
}

void UploadMultipart::resultJobPrivate(const QJsonObject& result)
{
    switch (m_stage) {
    case StageBeginSent:
        beginResult(result);
        break;
    case StageListSent:
        listResult(result);
        break;
    case StageParts:
        uploadPartResult(result);
        break;
    case StageEndSent:
        endResult(result);
        break;
    default:
        break;
    }
}

QJsonDocument UploadMultipart::beginMultipart()
{
    // Checked before anything exists at the service: parts of no bytes would never reach the
    // end of the source.
    if (m_partSize == 0) {
        NorvikDebug("NKC").warning() << "UploadMultipart: no part size, path:" << path();
        fail(PrepareFailedCode, tr("The part size of the multipart upload is not set"));
        return QJsonDocument();
    }

    QJsonObject job;
    if (cloudConfig().contains(JobFormat::UploadMultipart::UploadInfo)) {
        NorvikDebug("NKC").info() << "Continue multipart upload"
                                  << "path:" << path();
        m_stage = StageListSent;
        // The upload id rides in the configuration keys of the job.
        job = createJob(JobFormat::UploadMultipart::ListParts::Type);
    } else {
        NorvikDebug("NKC").info() << "Begin multipart upload"
                                  << "path:" << path();
        m_stage = StageBeginSent;
        job = createJob(JobFormat::UploadMultipart::Begin::Type);
    }
    job.insert(JobFormat::UploadMultipart::Path, path());
    job.insert(JobFormat::UploadMultipart::Begin::MetaData, QJsonObject::fromVariantMap(metadata()));
    return QJsonDocument(job);
}

void UploadMultipart::beginResult(const QJsonObject& result)
{
    const QByteArray uploadInfo = result.value(JobFormat::Result::ResultData).toString().toUtf8();
    if (!isSuccess(result) || uploadInfo.isEmpty()) {
        m_stage = StageFinished;
        failWithResult(result);
        return;
    }
    m_stage = StageParts;
    setUploadInfo(uploadInfo);
    QMap<QString, QVariant> config = cloudConfig();
    config.insert(JobFormat::UploadMultipart::UploadInfo, QString::fromUtf8(uploadInfo));
    setCloudConfig(config);
    // Queued like every state change, so that the caller gets the id on its own thread and
    // always before finished().
    QMetaObject::invokeMethod(
        this, [this, uploadInfo] { emit updateUploadInfo(uploadInfo); }, Qt::QueuedConnection);
}

void UploadMultipart::listResult(const QJsonObject& result)
{
    if (!isSuccess(result) || !result.contains(JobFormat::Result::ResultData)) {
        m_stage = StageFinished;
        // The error code of a failed listing is not taken over, unlike at begin and end.
        setCloudError(result.value(JobFormat::Result::CloudError).toString());
        changeState(StateError, result.value(JobFormat::Result::ErrorMessage).toString());
        return;
    }
    const QJsonArray parts = result.value(JobFormat::Result::ResultData).toArray();
    if (parts.isEmpty()) {
        // The service has nothing under this id: a new upload begins on the next pass.
        NorvikDebug("NKC").info() << "UploadMultipart: nothing to continue, a new upload begins, path:"
                                  << path();
        removeUploadInfoFromConfig();
        m_stage = StageNotBegun;
        return;
    }
    m_stage = StageParts;
    setUploadInfo(result.value(JobFormat::UploadMultipart::UploadInfo).toString().toUtf8());
    for (const QJsonValue& value : parts) {
        const QJsonObject object = value.toObject();
        if (object.isEmpty())
            continue;
        const Api::MultipartListPartObject part(object);
        m_listedParts.insert(static_cast<unsigned int>(part.partNumber()), object);
    }
}

QJsonDocument UploadMultipart::uploadPart()
{
    m_stage = StageParts;
    QIODevice* source = device();
    if (m_failed || !source || source->atEnd())
        return QJsonDocument();

    const unsigned int succeeded = succeededParts();
    if (m_parallel) {
        // Failed parts count as in flight for good; they stop new parts anyway.
        if (m_partCount - succeeded >= static_cast<unsigned int>(OperationManager::threadCount()))
            return QJsonDocument();
    } else if (m_partCount != succeeded) {
        // The storage appends parts as they come: the next one goes after this one succeeded.
        return QJsonDocument();
    }

    const bool toFile = m_partSize >= memoryBudget();
    Buffer buffer;
    buffer.type = toFile ? JobFormat::BufferType::Value::File : JobFormat::BufferType::Value::Memory;
    buffer.id = takeStartPartId();
    if (buffer.id.isNull()) {
        try {
            buffer = fillBuffer(toFile);
        } catch (const Norvik::Stream::Exception::SourceFileDeleted& e) {
            NorvikDebug("NKC").warning()
                << "UploadMultipart: Exception (SourceFileDeleted):" << e.message() << "path:" << e.path();
            failReading(
                SourceChangedCode,
                QString::fromUtf8(Error::FileSource::SourceFileDeleted::fromException(e)->toByteArray()),
                e.message(), false);
            return QJsonDocument();
        } catch (const Norvik::Stream::Exception::SourceFileModified& e) {
            NorvikDebug("NKC").warning()
                << "UploadMultipart: Exception (SourceFileModified):" << e.message() << "path:" << e.path();
            failReading(
                SourceChangedCode,
                QString::fromUtf8(Error::FileSource::SourceFileModified::fromException(e)->toByteArray()),
                e.message(), true);
            return QJsonDocument();
        } catch (const Norvik::Exception::Base& e) {
            NorvikDebug("NKC").warning() << "UploadMultipart: Exception (Norvik::Base):" << e.message();
            failReading(PrepareFailedCode, QString(),
                        e.message().isEmpty() ? tr("Unknown exception") : e.message(), false);
            return QJsonDocument();
        } catch (const std::exception& e) {
            NorvikDebug("NKC").warning() << "UploadMultipart: Exception (STD):" << e.what();
            const char* what = e.what();
            failReading(PrepareFailedCode, QString(),
                        what ? QString::fromLocal8Bit(what) : tr("Unknown exception"), false);
            return QJsonDocument();
        } catch (...) {
            NorvikDebug("NKC").warning() << "UploadMultipart: Exception: unknown";
            failReading(PrepareFailedCode, QString(), tr("Unknown exception"), false);
            return QJsonDocument();
        }
    }

    if (buffer.id.isNull()) {
        if (buffer.failure.isEmpty())
            return QJsonDocument(); // no room now: asked again on the next pass
        if (buffer.sourceConsumed) {
            // The next part would start after bytes that no part holds: a hole in the object.
            NorvikDebug("NKC").warning() << "UploadMultipart: the source could not be read, path:" << path()
                                         << "message:" << buffer.failure;
            failReading(PrepareFailedCode, QString(),
                        tr("Error on read the upload source: %1").arg(buffer.failure), true);
            return QJsonDocument();
        }
        if (m_partCount == succeededParts()) {
            // Nothing is out that could free disk space or a slot: asking again would spin.
            fail(PrepareFailedCode, buffer.failure);
            return QJsonDocument();
        }
        // Parts in flight may be what fills the disk; the upload tries again once they are in.
        NorvikDebug("NKC").warning() << "UploadMultipart: part buffer failed, trying again, path:" << path()
                                     << "message:" << buffer.failure;
        return QJsonDocument();
    }

    const qint64 held = bufferSize(buffer.type, buffer.id);
    if (static_cast<unsigned long long>(held) < fullPart(buffer.type) && !source->atEnd()) {
        // A short part before the end of the source is a failed read, and would put a hole in
        // the object.
        releaseBuffer(buffer.type, buffer.id);
        const QString reason = source->errorString().isEmpty() ? tr("Unknown error") : source->errorString();
        NorvikDebug("NKC").warning() << "UploadMultipart: the source could not be read, path:" << path()
                                     << "read:" << held << "message:" << reason;
        failReading(PrepareFailedCode, QString(), tr("Error on read the upload source: %1").arg(reason),
                    true);
        return QJsonDocument();
    }
    if (held == 0 && m_partCount > 0) {
        // The source's end showed only now, after a part that ended exactly on it.
        releaseBuffer(buffer.type, buffer.id);
        if (m_partCount != succeededParts())
            return QJsonDocument(); // the last result in moves on to the end
        NorvikDebug("NKC").info() << "Upload ALL part finished:" << path();
        return endMultipart();
    }

    QJsonObject job = createJob(JobFormat::UploadMultipart::Part::Type);
    job.insert(JobFormat::BufferType::Key, buffer.type);
    job.insert(JobFormat::UploadMultipart::Part::BufferId, buffer.id.toString());
    job.insert(JobFormat::UploadMultipart::Path, path());
    job.insert(JobFormat::UploadMultipart::UploadInfo, QString::fromUtf8(multipartUploadInfo()));
    m_partsOut.insert(buffer.id, buffer.type);
    ++m_partCount;
    job.insert(JobFormat::UploadMultipart::Part::PartId, static_cast<double>(m_partCount));
    const auto listed = m_listedParts.constFind(m_partCount);
    if (listed != m_listedParts.constEnd())
        job.insert(JobFormat::UploadMultipart::Part::UploadParts, QJsonArray{*listed});
    return QJsonDocument(job);
}

UploadMultipart::Buffer UploadMultipart::fillBuffer(bool toFile)
{
    QIODevice& source = *device();
    if (toFile) {
        bool consumed = false;
        const TemporaryFileManager::Result added =
            TemporaryFileManager::instance().tryAdd(static_cast<long long>(m_partSize), source, &consumed);
        return {added.first, JobFormat::BufferType::Value::File, added.second, consumed};
    }
    return {MemoryManager::instance().tryAdd(m_partSize, source), JobFormat::BufferType::Value::Memory,
            QString()};
}

qint64 UploadMultipart::bufferSize(const QString& type, const QUuid& id)
{
    if (type == JobFormat::BufferType::Value::File) {
        const auto entry = TemporaryFileManager::instance().get(id);
        return entry ? entry->size() : 0;
    }
    return MemoryManager::instance().get(id).size();
}

unsigned long long UploadMultipart::fullPart(const QString& type) const
{
    if (type == JobFormat::BufferType::Value::Memory)
        return std::min(m_partSize, LargestMemoryPart);
    return m_partSize;
}

void UploadMultipart::releaseBuffer(const QString& type, const QUuid& id)
{
    if (type == JobFormat::BufferType::Value::File)
        TemporaryFileManager::instance().remove(id);
    else
        MemoryManager::instance().remove(id);
}

void UploadMultipart::uploadPartResult(const QJsonObject& result)
{
    // The buffer goes whatever the outcome.
    const QString bufferType = result.value(JobFormat::BufferType::Key).toString();
    const QUuid bufferId(result.value(JobFormat::UploadMultipart::Part::BufferId).toString());
    unsigned long long partBytes = 0;
    if (bufferType == JobFormat::BufferType::Value::Memory) {
        partBytes = static_cast<unsigned long long>(MemoryManager::instance().get(bufferId).size());
        MemoryManager::instance().remove(bufferId);
    } else if (bufferType == JobFormat::BufferType::Value::File) {
        if (const auto entry = TemporaryFileManager::instance().get(bufferId))
            partBytes = static_cast<unsigned long long>(entry->size());
        else
            NorvikDebug("NKC").warning()
                << "UploadMultipart::uploadPartResult: temporary file object is invalid";
        TemporaryFileManager::instance().remove(bufferId);
    }
    m_partsOut.remove(bufferId);
    ++m_finishedParts;

    const auto partId = result.value(JobFormat::UploadMultipart::Part::PartId).toVariant().value<quint64>();
    const QByteArray tag = result.value(JobFormat::Result::ResultData).toString().toUtf8();
    if (isSuccess(result) && !tag.isEmpty() && !m_failed) {
        addSize(partBytes);
        m_results.insert(partId, tag);
        NorvikDebug("NKC").info() << "Upload part finished:" << path() << "part:" << partId;
        QIODevice* source = device();
        if (source && source->atEnd() && succeededParts() == m_partCount) {
            NorvikDebug("NKC").info() << "Upload ALL part finished:" << path();
            m_stage = StageReadyToEnd;
        }
        return;
    }

    // The first failure decides the error the operation ends with; the last result only
    // closes it.
    if (m_finishedParts != m_partCount) {
        const QString message = result.value(JobFormat::Result::ErrorMessage).toString();
        NorvikDebug("NKC").error() << "error on upload part:" << path() << "part:" << partId
                                   << "\nerror message:" << message;
        if (!m_failed) {
            m_failed = true;
            setErrorCode(result.value(JobFormat::Result::ErrorCode).toInt(0));
            m_failMessage = message;
            setCloudError(result.value(JobFormat::Result::CloudError).toString());
        }
        return;
    }
    m_failed = true;
    m_stage = StageFinished;
    changeState(StateError, m_failMessage);
}

QJsonDocument UploadMultipart::endMultipart()
{
    m_stage = StageEndSent;
    QJsonArray parts;
    for (auto it = m_results.cbegin(); it != m_results.cend(); ++it) {
        parts.append(QJsonObject{
            {JobFormat::UploadMultipart::End::Parts::Value::Id, static_cast<double>(it.key())},
            {JobFormat::UploadMultipart::End::Parts::Value::Data, QString::fromUtf8(it.value())},
        });
    }
    QJsonObject job = createJob(JobFormat::UploadMultipart::End::Type);
    job.insert(JobFormat::UploadMultipart::Path, path());
    job.insert(JobFormat::UploadMultipart::UploadInfo, QString::fromUtf8(multipartUploadInfo()));
    job.insert(JobFormat::UploadMultipart::End::Parts::Key, parts);
    return QJsonDocument(job);
}

void UploadMultipart::endResult(const QJsonObject& result)
{
    m_stage = StageFinished;
    if (!isSuccess(result)) {
        failWithResult(result);
        return;
    }
    setInfo(result.value(JobFormat::Result::ResultData).toObject());
    // The upload is complete: its id means nothing any more.
    removeUploadInfoFromConfig();
    changeState(StateComplete, QString());
}

void UploadMultipart::failReading(int code, const QString& cloudError, const QString& message,
                                  bool storeMessage)
{
    m_failed = true;
    setErrorCode(code);
    setCloudError(cloudError);
    if (storeMessage)
        m_failMessage = message;
    if (m_partCount == succeededParts()) {
        m_stage = StageFinished;
        changeState(StateError, message);
    }
    // Otherwise the last part in flight closes the operation with the stored message.
}

void UploadMultipart::fail(int code, const QString& message)
{
    m_failed = true;
    m_stage = StageFinished;
    setErrorCode(code);
    changeState(StateError, message);
}

void UploadMultipart::setUploadInfo(const QByteArray& uploadInfo)
{
    QMutexLocker lock(&m_uploadInfoMutex);
    m_uploadInfo = uploadInfo;
}

void UploadMultipart::removeUploadInfoFromConfig()
{
    QMap<QString, QVariant> config = cloudConfig();
    config.remove(JobFormat::UploadMultipart::UploadInfo);
    setCloudConfig(config);
}

} // namespace Operation

QJsonDocument uploadMultipartBegin(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    const QString path = job.value(JobFormat::UploadMultipart::Path).toString();
    const QMap<QString, QVariant> metaData =
        job.value(JobFormat::UploadMultipart::Begin::MetaData).toObject().toVariantMap();

    NorvikDebug("NKC").debug() << "Start BeginMultiartUpload job: container:" << container
                               << "uploadPath:" << path;
    const QByteArray uploadId = connection->beginMultipartUpload(container, path, metaData);
    NorvikDebug("NKC").debug() << "Finished BeginMultiartUpload job: container:" << container
                               << "uploadPath:" << path;
    return JobResult::success(job, QString::fromUtf8(uploadId));
}

QJsonDocument uploadMultipartParts(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    const QString path = job.value(JobFormat::UploadMultipart::Path).toString();
    const QByteArray uploadInfo = job.value(JobFormat::UploadMultipart::UploadInfo).toString().toUtf8();
    const QMap<QString, QVariant> metaData =
        job.value(JobFormat::UploadMultipart::Begin::MetaData).toObject().toVariantMap();

    NorvikDebug("NKC").info() << "Start ListPartMultiartUpload job: container:" << container
                              << "uploadPath:" << path;
    QJsonArray parts;
    quint64 marker = 0;
    do {
        const quint64 pageMarker = marker;
        const QJsonArray page = connection->listPartsMultipart(container, path, uploadInfo, marker);
        for (const QJsonValue& part : page)
            parts.append(part);
        if (marker != 0 && marker == pageMarker) {
            // A service that hands back the marker it was given would keep this job for ever.
            NorvikDebug("NKC").warning()
                << "ListPartMultiartUpload: the part listing does not advance, path:" << path
                << "marker:" << marker;
            break;
        }
    } while (marker != 0);

    // On Azure Blob the begin stores the metadata that the final commit needs; a continued
    // upload has not run it in this process.
    if (connection->type() == Type::AzureBlob)
        connection->beginMultipartUpload(container, path, metaData);

    NorvikDebug("NKC").info() << "Finished ListPartMultiartUpload job: container:" << container
                              << "uploadPath:" << path << "parts:" << parts.size();
    return JobResult::success(job, parts);
}

QJsonDocument uploadPart(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    const QString path = job.value(JobFormat::UploadMultipart::Path).toString();
    const QString bufferType = job.value(JobFormat::BufferType::Key).toString();
    const QUuid bufferId(job.value(JobFormat::UploadMultipart::Part::BufferId).toString());
    const auto partId = job.value(JobFormat::UploadMultipart::Part::PartId).toVariant().value<quint64>();
    const QByteArray uploadInfo = job.value(JobFormat::UploadMultipart::UploadInfo).toString().toUtf8();
    const QJsonArray listedParts = job.value(JobFormat::UploadMultipart::Part::UploadParts).toArray();
    const QUuid operationId(job.value(JobFormat::Id).toString());

    // These jobs still answer, so that the operation frees the buffer and ends instead of
    // waiting for a result that never comes.
    if (bufferId.isNull()) {
        NorvikDebug("NKC").warning() << "UploadPartJob: Buffer ID is 0x00";
        return JobResult::failure(job, PrepareFailedCode,
                                  Operation::UploadMultipart::tr("The part data is missing"));
    }
    NorvikDebug("NKC").debug() << "Start UploadPart job: container:" << container << "uploadPath:" << path
                               << "part:" << partId;

    QByteArray data;
    QSharedPointer<TemporaryFileManager::TemporaryFile> temporary;
    if (bufferType == JobFormat::BufferType::Value::Memory) {
        data = MemoryManager::instance().get(bufferId);
    } else if (bufferType == JobFormat::BufferType::Value::File) {
        temporary = TemporaryFileManager::instance().get(bufferId);
        if (!temporary) {
            NorvikDebug("NKC").error() << "UploadPartJob: temporary file object is invalid";
            return JobResult::failure(job, PrepareFailedCode,
                                      Operation::UploadMultipart::tr("The part data is missing"));
        }
    } else {
        NorvikDebug("NKC").error() << "UploadPartJob: unknown buffer type:" << bufferType;
        return JobResult::failure(
            job, PrepareFailedCode,
            Operation::UploadMultipart::tr("Unknown part buffer type: %1").arg(bufferType));
    }
    const qint64 partBytes = temporary ? temporary->size() : data.size();

    QByteArray tag;
    if (!listedParts.isEmpty()) {
        const QPair<bool, QByteArray> check =
            temporary ? connection->checkUploadPart(partId, listedParts, temporary->file(), temporary->size())
                      : connection->checkUploadPart(partId, listedParts, data);
        if (check.first) {
            NorvikDebug("NKC").info()
                << "Part is already uploaded:" << container << "uploadPath:" << path << "part:" << partId;
            tag = check.second;
        }
    }
    if (tag.isEmpty()) {
        tag = temporary ? connection->uploadMultipart(container, path, uploadInfo, partId, temporary->file(),
                                                      temporary->size(), operationId)
                        : connection->uploadMultipart(container, path, uploadInfo, partId, data, operationId);
    }

    NorvikDebug("NKC").debug() << "Finished UploadPart: container:" << container << "uploadPath:" << path
                               << "part:" << partId << "upload size:" << partBytes;
    return JobResult::success(job, QString::fromUtf8(tag));
}

QJsonDocument uploadMultipartEnd(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    const QString path = job.value(JobFormat::UploadMultipart::Path).toString();
    const QByteArray uploadInfo = job.value(JobFormat::UploadMultipart::UploadInfo).toString().toUtf8();

    NorvikDebug("NKC").debug() << "Start EndMultiartUpload job: container:" << container
                               << "uploadPath:" << path;
    QList<QPair<quint64, QByteArray>> parts;
    for (const QJsonValue& value : job.value(JobFormat::UploadMultipart::End::Parts::Key).toArray()) {
        const QJsonObject part = value.toObject();
        if (part.isEmpty())
            continue;
        parts.append(
            {part.value(JobFormat::UploadMultipart::End::Parts::Value::Id).toVariant().value<quint64>(),
             part.value(JobFormat::UploadMultipart::End::Parts::Value::Data).toString().toUtf8()});
    }
    const QJsonObject object = connection->endMultipartUpload(container, path, uploadInfo, parts);
    NorvikDebug("NKC").debug() << "Finished EndMultiartUpload job: container:" << container
                               << "uploadPath:" << path;
    return JobResult::success(job, object);
}

} // namespace Norvik::Cloud
