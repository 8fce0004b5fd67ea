#include "operations/UploadAuto.h"

#include "connection/FileSourceCloudError.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/InfoBase.h"
#include "info/InfoFactory.h"
#include "operations/UploadMultipart.h"
#include "operations/UploadOnce.h"
#include "streams/MemoryManager.h"
#include "streams/TemporaryFile.h"
#include "streams/TemporaryFileManager.h"

#include <NorvikCore/Exception.h>
#include <NorvikCore/NorvikDebug.h>
#include <NorvikStreams/SourceFileException.h>

#include <QIODevice>

#include <algorithm>

namespace Norvik::Cloud::Operation {

namespace {

constexpr int PrepareFailedCode = 3;
constexpr int SourceChangedCode = 29;

unsigned long long memoryBudget()
{
    return std::min<unsigned long long>(OperationManager::memoryUsed(), MemoryManager::instance().limit());
}

} // namespace

UploadAuto::UploadAuto(const QMap<QString, QVariant>& config, const QString& path,
                       const QMap<QString, QVariant>& meta, QIODevice* device, QObject* parent)
    : IUpload(OperationType::UploadAuto, config, path, meta, device, parent)
    , m_once(new UploadOnce(config, path, meta, device, this))
    , m_multipart(new UploadMultipart(config, path, meta, device, QByteArray(), nullptr))
{
}

UploadAuto::~UploadAuto() = default;

IUpload* UploadAuto::inner() const
{
    if (m_uploadType == Once)
        return m_once.data();
    if (m_uploadType == Multipart)
        return m_multipart.data();
    return nullptr;
}

QJsonDocument UploadAuto::makeJobPrivate()
{
    if (m_stage == StageUndecided) {
        init();
        return QJsonDocument();
    }
    if (m_stage == StageForwarding)
        return upload();
    return QJsonDocument();
}

void UploadAuto::resultJobPrivate(const QJsonObject& result)
{
    IUpload* target = inner();
    if (m_stage != StageForwarding || !target)
        return;
    // The job went out under this operation's id; the inner operation gets it back under its own.
    QJsonObject forwarded = result;
    forwarded.insert(JobFormat::Id, target->id().toString());
    target->resultJob(QJsonDocument(forwarded));
}

void UploadAuto::init()
{
    if (errorCode() != 0)
        return;
    const unsigned long long chunk = cloudConfig().value(OperationConfig::ChunkSize).toULongLong();
    const QSharedPointer<Info::Base> info = Info::InfoFactory::create(cloudConfig());
    QIODevice* source = device();

    if (info && !info->supportMultipart()) {
        // Streamed straight from the caller's device, whatever its size: no copy, no budget.
        const TemporaryFileManager::Result fake =
            TemporaryFileManager::instance().tryAddFake(source->isSequential() ? -1 : source->size(), source);
        if (fake.first.isNull()) {
            changeState(StateError, fake.second);
            return;
        }
        m_uploadType = Once;
        m_once->setStartPartId(fake.first);
    } else if (chunk == 0) {
        // Without a part size there is nothing to cut by: the whole source goes in one request.
        m_uploadType = Once;
    } else if (!source->isSequential() && source->size() > 0) {
        // A source of exactly one part is a single upload; nothing is read here.
        m_uploadType = static_cast<unsigned long long>(source->size()) > chunk ? Multipart : Once;
    } else if (!decideByReading(chunk)) {
        return;
    }

    connect(inner(), &IOperation::finished, this, &UploadAuto::onFinished, Qt::QueuedConnection);
    m_stage = StageForwarding;
}

bool UploadAuto::decideByReading(unsigned long long chunk)
{
    QIODevice* source = device();
    QUuid id;
    unsigned long long length = 0;
    QString cloudError;
    QString failure;
    int code = PrepareFailedCode;
    try {
        if (memoryBudget() > chunk) {
            id = MemoryManager::instance().tryAdd(chunk, *source);
            if (id.isNull())
                return false; // the budget is taken: ask again on the next pass
            length = MemoryManager::instance().get(id).size();
        } else {
            const TemporaryFileManager::Result added =
                TemporaryFileManager::instance().tryAdd(chunk, *source);
            if (added.first.isNull()) {
                if (added.second.isEmpty())
                    return false; // no temporary-file slot now
                changeState(StateError, added.second);
                return false;
            }
            id = added.first;
            length = TemporaryFileManager::instance().get(id)->size();
        }
    } catch (const Norvik::Stream::Exception::SourceFileDeleted& e) {
        NorvikDebug("NKC").warning() << "UploadAuto: Exception (SourceFileDeleted):" << e.message()
                                     << "path:" << e.path();
        code = SourceChangedCode;
        cloudError = QString::fromUtf8(Error::FileSource::SourceFileDeleted::fromException(e)->toByteArray());
        failure = e.message();
    } catch (const Norvik::Stream::Exception::SourceFileModified& e) {
        NorvikDebug("NKC").warning() << "UploadAuto: Exception (SourceFileModified):" << e.message()
                                     << "path:" << e.path();
        code = SourceChangedCode;
        cloudError =
            QString::fromUtf8(Error::FileSource::SourceFileModified::fromException(e)->toByteArray());
        failure = e.message();
    } catch (const Norvik::Exception::Base& e) {
        NorvikDebug("NKC").warning() << "UploadAuto: Exception (Norvik::Base):" << e.message();
        failure = e.message().isEmpty() ? tr("Unknown exception") : e.message();
    } catch (const std::exception& e) {
        NorvikDebug("NKC").warning() << "UploadAuto: Exception (STD):" << e.what();
        failure = QString::fromLocal8Bit(e.what());
    } catch (...) {
        NorvikDebug("NKC").warning() << "UploadAuto: Exception: unknown";
        failure = tr("Unknown exception");
    }
    if (id.isNull()) {
        setErrorCode(code);
        setCloudError(cloudError);
        changeState(StateError, failure);
        return false;
    }

    if (length == chunk && !source->atEnd()) {
        m_uploadType = Multipart;
        m_multipart->setStartPartId(id);
    } else {
        m_uploadType = Once;
        m_once->setStartPartId(id);
    }
    return true;
}

QJsonDocument UploadAuto::upload()
{
    IUpload* target = inner();
    QJsonDocument job = target->makeJob();
    if (job.isObject() && !job.object().isEmpty()) {
        QJsonObject routed = job.object();
        routed.insert(JobFormat::Id, id().toString());
        return QJsonDocument(routed);
    }
    if (target->state() == StateError) {
        setErrorCode(target->errorCode());
        setCloudError(target->cloudError());
        // The single upload ends through onFinished(); a multipart one may never send finished()
        // for a failure found before its first job, so it ends here.
        if (m_uploadType == Multipart)
            changeState(StateError, target->errorMessage());
    }
    return QJsonDocument();
}

void UploadAuto::onFinished()
{
    IUpload* target = inner();
    if (!target)
        return;
    if (target->isError()) {
        setErrorCode(target->errorCode());
        setCloudError(target->cloudError());
        changeState(StateError, target->errorMessage());
        return;
    }
    setInfo(target->info());
    setSize(target->size());
    changeState(StateComplete, QString());
}

} // namespace Norvik::Cloud::Operation
