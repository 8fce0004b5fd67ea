#include "operations/DeleteOnce.h"

#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation {

DeleteOnce::DeleteOnce(const QMap<QString, QVariant>& config, const QJsonObject& object, QObject* parent)
    : IOperationSimple(OperationType::DeleteOnce, config, parent)
    , m_object(object)
{
}

DeleteOnce::~DeleteOnce() = default;

QJsonDocument DeleteOnce::execJob()
{
    QJsonObject job = createJob(JobFormat::DeleteOnce::Type);
    job.insert(JobFormat::DeleteOnce::ObjectInfo, m_object);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void DeleteOnce::execResult(const QJsonObject& result)
{
    m_phase = PhaseDone;
    if (isSuccess(result))
        changeState(StateComplete, QString());
    else
        failWithResult(result);
}

} // namespace Operation

QJsonDocument deleteOnce(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    NorvikDebug("NKC").debug() << "Start DeleteOnce job";
    const bool deleted = connection->delete_(job.value(OperationConfig::ContainerName).toString(),
                                             job.value(JobFormat::DeleteOnce::ObjectInfo).toObject());
    NorvikDebug("NKC").debug() << "Finished DeleteOnce job";
    return deleted ? JobResult::success(job) : JobResult::failure(job);
}

} // namespace Norvik::Cloud
