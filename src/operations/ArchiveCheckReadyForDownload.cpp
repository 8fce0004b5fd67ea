#include "operations/ArchiveCheckReadyForDownload.h"

#include "connection/Exception.h"
#include "connection/IArchive.h"
#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation::Archive {

CheckReadyForDownload::CheckReadyForDownload(const QMap<QString, QVariant>& config, const QString& path,
                                             QObject* parent)
    : IOperationSimple(OperationType::Archive::CheckReadyForDownload, config, parent)
    , m_path(path)
{
}

CheckReadyForDownload::~CheckReadyForDownload() = default;

QJsonDocument CheckReadyForDownload::execJob()
{
    QJsonObject job = createJob(JobFormat::Archive::CheckReadyForDownload::Type);
    job.insert(JobFormat::Archive::Path, m_path);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void CheckReadyForDownload::execResult(const QJsonObject& result)
{
    namespace Keys = JobFormat::Archive::CheckReadyForDownload::Result;
    m_phase = PhaseDone;
    const QJsonValue data = result.value(JobFormat::Result::ResultData);
    if (!isSuccess(result) || !data.isDouble()) {
        failWithResult(result);
        return;
    }
    m_ready = data.toInt() == Keys::Ready;
    changeState(StateComplete, QString());
}

} // namespace Operation::Archive

QJsonDocument ArchiveCheckReadyForDownload(Api::IConnection* connection, const QJsonObject& job)
{
    namespace Keys = JobFormat::Archive::CheckReadyForDownload::Result;
    auto* archive = dynamic_cast<Api::IArchive*>(connection);
    if (!archive)
        throw Api::Exception::UnsupportedOperation();
    NorvikDebug("NKC").debug() << "Start ArchiveCheckReadyForDownload job";
    const bool ready = archive->checkReadyForDownload(job.value(OperationConfig::ContainerName).toString(),
                                                      job.value(JobFormat::Archive::Path).toString());
    NorvikDebug("NKC").debug() << "Finished ArchiveCheckReadyForDownload job";
    return JobResult::success(job, ready ? Keys::Ready : Keys::InProgress);
}

} // namespace Norvik::Cloud
