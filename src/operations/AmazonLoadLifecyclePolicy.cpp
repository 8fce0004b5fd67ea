#include "operations/AmazonLoadLifecyclePolicy.h"

#include "connection/Exception.h"
#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"
#include "s3/CloudAmazonS3.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud {

namespace Operation::Amazon {

LoadLifecyclePolicy::LoadLifecyclePolicy(const QMap<QString, QVariant>& config, QObject* parent)
    : IOperationSimple(OperationType::Amazon::LoadLifecyclePolicy, config, parent)
{
}

LoadLifecyclePolicy::~LoadLifecyclePolicy() = default;

QJsonDocument LoadLifecyclePolicy::execJob()
{
    QJsonObject job = createJob(JobFormat::Amazon::LifecyclePolicy::Load::Type);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void LoadLifecyclePolicy::execResult(const QJsonObject& result)
{
    m_phase = PhaseDone;
    if (!isSuccess(result)) {
        failWithResult(result);
        return;
    }
    m_data = result.value(JobFormat::Result::ResultData).toString().toUtf8();
    changeState(StateComplete, QString());
}

} // namespace Operation::Amazon

namespace Amazon {

QJsonDocument loadLifecyclePolicy(Api::IConnection* connection, const QJsonObject& job)
{
    auto* amazon = dynamic_cast<Api::CloudAmazonS3*>(connection);
    if (!amazon)
        throw Api::Exception::UnsupportedOperation();
    const QString container = job.value(OperationConfig::ContainerName).toString();
    NorvikDebug("NKC").debug() << "Start Amazon::LoadLifecyclePolicy job";
    const QByteArray policy = amazon->loadLifecyclePolicy(container);
    NorvikDebug("NKC").debug() << "Finished Amazon::LoadLifecyclePolicy job";
    return JobResult::success(job, QString::fromUtf8(policy));
}

} // namespace Amazon

} // namespace Norvik::Cloud
