#include "operations/CreateContainer.h"

#include "connection/ICloud.h"
#include "connection/OperationException.h"
#include "engine/JobFormat.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation {

CreateContainer::CreateContainer(const QMap<QString, QVariant>& config, const QJsonObject& params,
                                 QObject* parent)
    : IOperationSimple(OperationType::CreateContainer, config, parent)
    , m_params(params)
{
}

CreateContainer::~CreateContainer() = default;

QJsonDocument CreateContainer::execJob()
{
    QJsonObject job = createJob(JobFormat::CreateContainer::Type);
    job.insert(JobFormat::CreateContainer::Params, m_params);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void CreateContainer::execResult(const QJsonObject& result)
{
    m_phase = PhaseDone;
    if (isSuccess(result))
        changeState(StateComplete, QString());
    else
        failWithResult(result);
}

} // namespace Operation

QJsonDocument createContainer(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    auto* cloud = dynamic_cast<Api::ICloud*>(connection);
    if (!cloud)
        throw Api::Exception::UnsupportedOperation();
    NorvikDebug("NKC").debug() << "Start CreateContainer job";
    const bool created = cloud->createContainers(job.value(JobFormat::CreateContainer::Params).toObject());
    NorvikDebug("NKC").debug() << "Finished CreateContainer job";
    return created ? JobResult::success(job) : JobResult::failure(job);
}

} // namespace Norvik::Cloud
