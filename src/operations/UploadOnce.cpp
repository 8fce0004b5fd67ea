#include "operations/UploadOnce.h"

#include "connection/FileSourceCloudError.h"
#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "operations/JobResult.h"
#include "streams/MemoryManager.h"
#include "streams/TemporaryFile.h"
#include "streams/TemporaryFileManager.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikStreams/SourceFileException.h>

#include <QBuffer>
#include <QIODevice>

#include <algorithm>

namespace Norvik::Cloud {

namespace {

// Code of a failure to prepare an upload's data, and of a change of its source (which comes
// with an error record).
constexpr int PrepareFailedCode = 3;
constexpr int SourceChangedCode = 29;

// Objects of this size or more go to a temporary file. The registry fixed its budget when it
// was first used; a budget raised later must not send objects to memory that can never hold
// them, so the smaller of the two counts.
unsigned long long memoryBudget()
{
    return std::min<unsigned long long>(OperationManager::memoryUsed(), MemoryManager::instance().limit());
}

} // namespace

namespace Operation {

UploadOnce::UploadOnce(const QMap<QString, QVariant>& config, const QString& path,
                       const QMap<QString, QVariant>& meta, QIODevice* device, QObject* parent)
    : IUpload(OperationType::Upload, config, path, meta, device, parent)
{
}

UploadOnce::~UploadOnce()
{
    if (m_stage != StageSent)
        return;
    // The job keeps what it already took from the registry; only the entry goes.
    if (m_sentType == JobFormat::BufferType::Value::File)
        TemporaryFileManager::instance().remove(m_sentId);
    else
        MemoryManager::instance().remove(m_sentId);
}

QJsonDocument UploadOnce::makeJobPrivate()
{
    if (errorCode() != 0)
        return QJsonDocument();
    if (m_stage == StageFilling)
        return uploadOnce();
    return QJsonDocument();
}

QJsonDocument UploadOnce::uploadOnce()
{
    Buffer buffer;
    const QUuid startId = takeStartPartId();
    if (!startId.isNull()) {
        // Someone else read the source already; only its registry is to be found out.
        buffer.id = startId;
        buffer.type = TemporaryFileManager::instance().get(startId) ? JobFormat::BufferType::Value::File
                                                                    : JobFormat::BufferType::Value::Memory;
    } else {
        try {
            buffer = fillBuffer();
        } catch (const Norvik::Stream::Exception::SourceFileDeleted& e) {
            NorvikDebug("NKC").warning()
                << "UploadOnce: Exception (SourceFileDeleted):" << e.message() << "path:" << e.path();
            fail(SourceChangedCode,
                 QString::fromUtf8(Error::FileSource::SourceFileDeleted::fromException(e)->toByteArray()),
                 e.message());
            return QJsonDocument();
        } catch (const Norvik::Stream::Exception::SourceFileModified& e) {
            NorvikDebug("NKC").warning()
                << "UploadOnce: Exception (SourceFileModified):" << e.message() << "path:" << e.path();
            fail(SourceChangedCode,
                 QString::fromUtf8(Error::FileSource::SourceFileModified::fromException(e)->toByteArray()),
                 e.message());
            return QJsonDocument();
        } catch (const Norvik::Exception::Base& e) {
            NorvikDebug("NKC").warning() << "UploadOnce: Exception (Norvik::Base):" << e.message();
            fail(PrepareFailedCode, QString(), e.message().isEmpty() ? tr("Unknown exception") : e.message());
            return QJsonDocument();
        } catch (const std::exception& e) {
            NorvikDebug("NKC").warning() << "UploadOnce: Exception (STD):" << e.what();
            const char* what = e.what();
            fail(PrepareFailedCode, QString(), what ? QString::fromLocal8Bit(what) : tr("Unknown exception"));
            return QJsonDocument();
        } catch (...) {
            NorvikDebug("NKC").warning() << "UploadOnce: Exception: unknown";
            fail(PrepareFailedCode, QString(), tr("Unknown exception"));
            return QJsonDocument();
        }
    }

    if (buffer.id.isNull()) {
        if (!buffer.failure.isEmpty())
            fail(PrepareFailedCode, QString(), buffer.failure);
        return QJsonDocument();
    }

    m_stage = StageSent;
    m_sentId = buffer.id;
    m_sentType = buffer.type;
    QJsonObject job = createJob(JobFormat::UploadOnce::Type);
    job.insert(JobFormat::UploadOnce::BufferId, buffer.id.toString());
    job.insert(JobFormat::UploadOnce::BufferType, buffer.type);
    job.insert(JobFormat::UploadOnce::MetaData, QJsonObject::fromVariantMap(metadata()));
    job.insert(JobFormat::UploadOnce::Path, path());
    return QJsonDocument(job);
}

UploadOnce::Buffer UploadOnce::fillBuffer()
{
    QIODevice* source = device();
    if (!source)
        return {QUuid(), QString(), tr("The upload has no source")};
    // A sequential device states only what it holds now, not its length.
    const qint64 length = source->isSequential() ? -1 : source->size();
    if (length == 0 || length == -1)
        return fillFromUnknownLength();
    return fillFromKnownLength(length);
}

UploadOnce::Buffer UploadOnce::fillFromUnknownLength()
{
    // Read once: a retry while the registries are full must not read the source again.
    if (!m_pendingRead) {
        m_pending = device()->readAll();
        m_pendingRead = true;
    }
    const unsigned long long length = static_cast<unsigned long long>(m_pending.size());
    Buffer buffer;
    if (memoryBudget() <= length) {
        QBuffer source(&m_pending);
        source.open(QIODevice::ReadOnly);
        const TemporaryFileManager::Result added =
            TemporaryFileManager::instance().tryAdd(static_cast<long long>(length), source);
        buffer = {added.first, JobFormat::BufferType::Value::File, added.second};
    } else {
        buffer = {MemoryManager::instance().add(m_pending), JobFormat::BufferType::Value::Memory, QString()};
    }
    if (!buffer.id.isNull())
        m_pending.clear();
    return buffer;
}

UploadOnce::Buffer UploadOnce::fillFromKnownLength(qint64 length)
{
    QIODevice& source = *device();
    // The object is what is left from the device's position.
    const qint64 expected = length - source.pos();
    Buffer buffer;
    qint64 held = 0;
    if (memoryBudget() <= static_cast<unsigned long long>(length)) {
        const TemporaryFileManager::Result added = TemporaryFileManager::instance().tryAdd(length, source);
        buffer = {added.first, JobFormat::BufferType::Value::File, added.second};
        if (const auto entry = TemporaryFileManager::instance().get(buffer.id))
            held = entry->size();
    } else {
        buffer = {MemoryManager::instance().tryAdd(static_cast<unsigned long long>(length), source),
                  JobFormat::BufferType::Value::Memory, QString()};
        held = MemoryManager::instance().get(buffer.id).size();
    }
    if (buffer.id.isNull() || held >= expected)
        return buffer;

    // The device promised more than it gave: uploading the rest would store a cut object
    // under the caller's path as if it were whole.
    if (buffer.type == JobFormat::BufferType::Value::File)
        TemporaryFileManager::instance().remove(buffer.id);
    else
        MemoryManager::instance().remove(buffer.id);
    NorvikDebug("NKC").warning() << "UploadOnce: the source ended early, path:" << path() << "read:" << held
                                 << "expected:" << expected;
    return {QUuid(), QString(),
            tr("The source ended after %1 of %2 bytes: %3").arg(held).arg(expected).arg(path())};
}

void UploadOnce::resultJobPrivate(const QJsonObject& result)
{
    if (m_stage == StageSent)
        uploadOnceResult(result);
}

void UploadOnce::uploadOnceResult(const QJsonObject& result)
{
    m_stage = StageDone;
    // The buffer goes whatever the outcome; size counts the bytes handed over.
    const QString bufferType = result.value(JobFormat::UploadOnce::BufferType).toString();
    const QUuid bufferId(result.value(JobFormat::UploadOnce::BufferId).toString());
    if (bufferType == JobFormat::BufferType::Value::Memory) {
        addSize(static_cast<unsigned long long>(MemoryManager::instance().get(bufferId).size()));
        MemoryManager::instance().remove(bufferId);
    } else if (bufferType == JobFormat::BufferType::Value::File) {
        if (const auto entry = TemporaryFileManager::instance().get(bufferId)) {
            setSize(static_cast<unsigned long long>(entry->size()));
            TemporaryFileManager::instance().remove(bufferId);
        } else {
            NorvikDebug("NKC").error() << "UploadOnce::uploadOnceResult: temporary file is invalid";
        }
    }

    if (isSuccess(result)) {
        setInfo(result.value(JobFormat::Result::ResultData).toObject());
        changeState(StateComplete, QString());
    } else {
        failWithResult(result);
    }
}

void UploadOnce::fail(int code, const QString& cloudError, const QString& message)
{
    m_stage = StageDone;
    m_pending.clear();
    setErrorCode(code);
    setCloudError(cloudError);
    changeState(StateError, message);
}

} // namespace Operation

QJsonDocument uploadOnce(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    const QString path = job.value(JobFormat::UploadOnce::Path).toString();
    const QUuid bufferId(job.value(JobFormat::UploadOnce::BufferId).toString());
    const QString bufferType = job.value(JobFormat::UploadOnce::BufferType).toString();
    const QMap<QString, QVariant> metaData =
        job.value(JobFormat::UploadOnce::MetaData).toObject().toVariantMap();
    const QUuid operationId(job.value(JobFormat::Id).toString());

    if (bufferId.isNull()) {
        NorvikDebug("NKC").warning() << "uploadOnce: buffer ID is 0x00";
        return JobResult::failure(job, PrepareFailedCode,
                                  Operation::UploadOnce::tr("The upload data is missing"));
    }
    NorvikDebug("NKC").debug() << "Start upload job: container:" << container << "uploadPath:" << path;

    QJsonObject object;
    qint64 uploaded = 0;
    if (bufferType == JobFormat::BufferType::Value::Memory) {
        const QByteArray data = MemoryManager::instance().get(bufferId);
        uploaded = data.size();
        object = connection->upload(container, path, metaData, data, operationId);
    } else if (bufferType == JobFormat::BufferType::Value::File) {
        const auto temporary = TemporaryFileManager::instance().get(bufferId);
        if (!temporary) {
            NorvikDebug("NKC").error() << "uploadOnce: temporary file object is invalid";
            return JobResult::failure(job, PrepareFailedCode,
                                      Operation::UploadOnce::tr("The upload data is missing"));
        }
        uploaded = temporary->size();
        object =
            connection->upload(container, path, metaData, temporary->file(), temporary->size(), operationId);
    } else {
        NorvikDebug("NKC").error() << "uploadOnce: unknown buffer type:" << bufferType;
        return JobResult::failure(
            job, PrepareFailedCode,
            Operation::UploadOnce::tr("Unknown upload buffer type: %1").arg(bufferType));
    }

    NorvikDebug("NKC").debug() << "Finished upload job: container:" << container << "uploadPath:" << path
                               << "upload size:" << uploaded;
    return JobResult::success(job, object);
}

} // namespace Norvik::Cloud
