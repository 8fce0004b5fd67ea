#include "operations/ListContainers.h"

#include "connection/ICloud.h"
#include "connection/OperationException.h"
#include "engine/JobFormat.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

#include <QMutexLocker>

namespace Norvik::Cloud {

namespace Operation {

ListContainers::ListContainers(const QMap<QString, QVariant>& config, QObject* parent)
    : IOperation(OperationType::ListContainers, config, parent)
{
}

ListContainers::~ListContainers() = default;

QJsonArray ListContainers::data() const
{
    QMutexLocker lock(&m_resultMutex);
    return m_data;
}

QJsonDocument ListContainers::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_stage != StageIdle)
        return QJsonDocument();
    m_stage = StageSent;
    return QJsonDocument(createJob(JobFormat::ListContainers::Type));
}

void ListContainers::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject() || m_stage != StageSent)
        return;
    m_stage = StageDone;
    const QJsonObject object = result.object();
    const QJsonValue containers = object.value(JobFormat::Result::ResultData);
    if (!isSuccess(object) || !containers.isArray()) {
        failWithResult(object);
        return;
    }
    {
        QMutexLocker resultLock(&m_resultMutex);
        m_data = containers.toArray();
    }
    changeState(StateComplete, QString());
}

} // namespace Operation

QJsonDocument listContainers(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    auto* cloud = dynamic_cast<Api::ICloud*>(connection);
    if (!cloud)
        throw Api::Exception::UnsupportedOperation();
    NorvikDebug("NKC").debug() << "Start List Containers job";
    const QJsonDocument containers = cloud->containers();
    NorvikDebug("NKC").debug() << "Finished Containers job";
    return JobResult::success(job, containers.array());
}

} // namespace Norvik::Cloud
