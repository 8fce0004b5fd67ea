#include "operations/AmazonSaveLifecyclePolicy.h"

#include "connection/Exception.h"
#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"
#include "s3/CloudAmazonS3.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation::Amazon {

SaveLifecyclePolicy::SaveLifecyclePolicy(const QMap<QString, QVariant>& config, const QByteArray& policy,
                                         QObject* parent)
    : IOperationSimple(OperationType::Amazon::SaveLifecyclePolicy, config, parent)
    , m_policy(policy)
{
}

SaveLifecyclePolicy::~SaveLifecyclePolicy() = default;

QJsonDocument SaveLifecyclePolicy::execJob()
{
    QJsonObject job = createJob(JobFormat::Amazon::LifecyclePolicy::Save::Type);
    job.insert(JobFormat::Amazon::LifecyclePolicy::Save::Policy, QString::fromUtf8(m_policy));
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void SaveLifecyclePolicy::execResult(const QJsonObject& result)
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

QJsonDocument saveLifecyclePolicy(Api::IConnection* connection, const QJsonObject& job)
{
    auto* amazon = dynamic_cast<Api::CloudAmazonS3*>(connection);
    if (!amazon)
        throw Api::Exception::UnsupportedOperation();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    NorvikDebug("NKC").debug() << "Start Amazon::SaveLifecyclePolicy job";
    const bool saved = amazon->saveLifecyclePolicy(
        container, job.value(JobFormat::Amazon::LifecyclePolicy::Save::Policy).toString().toUtf8());
    NorvikDebug("NKC").debug() << "Finished Amazon::SaveLifecyclePolicy job";
    return saved ? JobResult::success(job) : JobResult::failure(job);
}

} // namespace Amazon

} // namespace Norvik::Cloud
