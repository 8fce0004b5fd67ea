#include "operations/AmazonDeleteLifecyclePolicy.h"

#include "connection/Exception.h"
#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"
#include "s3/CloudAmazonS3.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation::Amazon {

DeleteLifecyclePolicy::DeleteLifecyclePolicy(const QMap<QString, QVariant>& config, QObject* parent)
    : IOperationSimple(OperationType::Amazon::DeleteLifecyclePolicy, config, parent)
{
}

DeleteLifecyclePolicy::~DeleteLifecyclePolicy() = default;

QJsonDocument DeleteLifecyclePolicy::execJob()
{
    QJsonObject job = createJob(JobFormat::Amazon::LifecyclePolicy::Delete::Type);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void DeleteLifecyclePolicy::execResult(const QJsonObject& result)
{
    m_phase = PhaseDone;
    if (!isSuccess(result)) {
        failWithResult(result);
        return;
    }
    changeState(StateComplete, QString());
}

} // namespace Operation::Amazon

namespace Amazon {

QJsonDocument deleteLifecyclePolicy(Api::IConnection* connection, const QJsonObject& job)
{
    auto* amazon = dynamic_cast<Api::CloudAmazonS3*>(connection);
    if (!amazon)
        throw Api::Exception::UnsupportedOperation();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    NorvikDebug("NKC").debug() << "Start Amazon::DeleteLifecyclePolicy job";
    const bool deleted = amazon->deleteLifecyclePolicy(container);
    NorvikDebug("NKC").debug() << "Finished Amazon::DeleteLifecyclePolicy job";
    return deleted ? JobResult::success(job) : JobResult::failure(job);
}

} // namespace Amazon

} // namespace Norvik::Cloud
