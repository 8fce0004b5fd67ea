#include "operations/ArchiveFinalizeDownloaded.h"

#include "connection/Exception.h"
#include "connection/IArchive.h"
#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation::Archive {

FinalizeDownloaded::FinalizeDownloaded(const QMap<QString, QVariant>& config, const QString& path,
                                       QObject* parent)
    : IOperationSimple(OperationType::Archive::FinalizeDownloaded, config, parent)
    , m_path(path)
{
}

FinalizeDownloaded::~FinalizeDownloaded() = default;

QJsonDocument FinalizeDownloaded::execJob()
{
    QJsonObject job = createJob(JobFormat::Archive::FinalizeDownloaded::Type);
    job.insert(JobFormat::Archive::Path, m_path);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void FinalizeDownloaded::execResult(const QJsonObject& result)
{
    m_phase = PhaseDone;
    if (isSuccess(result))
        changeState(StateComplete, QString());
    else
        failWithResult(result);
}

} // namespace Operation::Archive

QJsonDocument ArchiveFinalizeDownloaded(Api::IConnection* connection, const QJsonObject& job)
{
    auto* archive = dynamic_cast<Api::IArchive*>(connection);
    if (!archive)
        throw Api::Exception::UnsupportedOperation();
    NorvikDebug("NKC").debug() << "Start ArchiveFinalizeDownloaded job";
    archive->finalizeDownloaded(job.value(OperationConfig::ContainerName).toString(),
                                job.value(JobFormat::Archive::Path).toString());
    NorvikDebug("NKC").debug() << "Finished ArchiveFinalizeDownloaded job";
    return JobResult::success(job);
}

} // namespace Norvik::Cloud
