#include "operations/CheckConfig.h"

#include "connection/IConnection.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

#include <QMutexLocker>

namespace Norvik::Cloud {

namespace Operation {

CheckConfig::CheckConfig(const QMap<QString, QVariant>& config, QObject* parent)
    : IOperation(OperationType::CheckConfig, config, parent)
{
}

CheckConfig::~CheckConfig() = default;

QJsonDocument CheckConfig::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage != StageIdle)
        return QJsonDocument();
    return checkConfig();
}

void CheckConfig::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject())
        return;
    if (m_stage == StageSent)
        checkConfigResult(result.object());
}

QJsonDocument CheckConfig::checkConfig()
{
    m_stage = StageSent;
    return QJsonDocument(createJob(JobFormat::CheckConfig::Type));
}

void CheckConfig::checkConfigResult(const QJsonObject& result)
{
    m_stage = StageDone;
    const QJsonValue checked = result.value(JobFormat::Result::ResultData);
    if (!isSuccess(result) || !checked.isObject()) {
        failWithResult(result);
        return;
    }
    setCloudConfig(checked.toObject().toVariantMap());
    changeState(StateComplete, QString());
}

} // namespace Operation

QJsonDocument checkConfig(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    NorvikDebug("NKC").debug() << "Start CheckConfig job";
    QMap<QString, QVariant> config = job.toVariantMap();
    connection->checkConfig(job.value(OperationConfig::ContainerName).toString(), config);
    NorvikDebug("NKC").debug() << "Finished CheckConfig job";
    return JobResult::success(job, QJsonObject::fromVariantMap(config));
}

} // namespace Norvik::Cloud
