#include "operations/ArchivePrepareForDownload.h"

#include "connection/Exception.h"
#include "connection/IArchive.h"
#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation::Archive {

PrepareForDownload::PrepareForDownload(const QMap<QString, QVariant>& config, const QString& path,
                                       const QJsonObject& options, QObject* parent)
    : IOperationSimple(OperationType::Archive::PrepareForDownload, config, parent)
    , m_path(path)
    , m_options(options)
{
}

PrepareForDownload::~PrepareForDownload() = default;

QJsonDocument PrepareForDownload::execJob()
{
    QJsonObject job = createJob(JobFormat::Archive::PrepareForDownload::Type);
    job.insert(JobFormat::Archive::Path, m_path);
    job.insert(JobFormat::Archive::PrepareForDownload::Options, m_options);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void PrepareForDownload::execResult(const QJsonObject& result)
{
    namespace Keys = JobFormat::Archive::PrepareForDownload::Result;
    m_phase = PhaseDone;
    if (!isSuccess(result)) {
        failWithResult(result);
        return;
    }
    const QJsonObject data = result.value(JobFormat::Result::ResultData).toObject();
    switch (data.value(Keys::Status::Key).toInt(-1)) {
    case Keys::Status::Value::Success:
        m_result = Started;
        break;
    case Keys::Status::Value::Failed:
        m_result = NotAvailable;
        m_message = data.value(Keys::Message).toString();
        break;
    case Keys::Status::Value::AlreadyInProgress:
        m_result = AlreadyInProgress;
        m_message = data.value(Keys::Message).toString();
        break;
    default:
        break;
    }
    changeState(StateComplete, QString());
}

} // namespace Operation::Archive

QJsonDocument ArchivePrepareForDownload(Api::IConnection* connection, const QJsonObject& job)
{
    namespace Keys = JobFormat::Archive::PrepareForDownload::Result;
    auto* archive = dynamic_cast<Api::IArchive*>(connection);
    if (!archive)
        throw Api::Exception::UnsupportedOperation();
    const QString path = job.value(JobFormat::Archive::Path).toString();
    NorvikDebug("NKC").debug() << "Start ArchivePrepareForDownload job";
    QJsonObject data{{Keys::Status::Key, Keys::Status::Value::Success}};
    try {
        archive->prepareForDownload(job.value(OperationConfig::ContainerName).toString(), path,
                                    job.value(JobFormat::Archive::PrepareForDownload::Options).toObject());
    } catch (const Api::Exception::ArchiveNotAvailable& e) {
        NorvikDebug("NKC").infoH() << "ArchivePrepareForDownload (ArchiveNotAvailable), path:" << path
                                   << "message:" << e.message();
        data = {{Keys::Status::Key, Keys::Status::Value::Failed}, {Keys::Message, e.message()}};
    } catch (const Api::Exception::ArchiveRestoreAlreadyInProgress& e) {
        NorvikDebug("NKC").infoH() << "ArchivePrepareForDownload (ArchiveRestoreAlreadyInProgress), path:"
                                   << path << "message:" << e.message();
        data = {{Keys::Status::Key, Keys::Status::Value::AlreadyInProgress}, {Keys::Message, e.message()}};
    }
    NorvikDebug("NKC").debug() << "Finished ArchivePrepareForDownload job";
    return JobResult::success(job, data);
}

} // namespace Norvik::Cloud
