#include "operations/MultipleDelete.h"

#include "connection/IConnection.h"
#include "connection/OperationException.h"
#include "engine/JobFormat.h"
#include "engine/OperationConfig.h"
#include "operations/JobResult.h"

#include <NorvikCore/NorvikDebug.h>

#include <QMutexLocker>

namespace Norvik::Cloud {

namespace Operation {

MultipleDelete::MultipleDelete(const QMap<QString, QVariant>& config, const QJsonArray& objects,
                               QObject* parent)
    : IOperationSimple(OperationType::MultipleDelete, config, parent)
    , m_objects(objects)
{
}

MultipleDelete::~MultipleDelete() = default;

QJsonArray MultipleDelete::data() const
{
    QMutexLocker lock(&m_resultMutex);
    return m_failures;
}

QJsonDocument MultipleDelete::execJob()
{
    QJsonObject job = createJob(JobFormat::MultipleDelete::Type);
    job.insert(JobFormat::MultipleDelete::ObjectInfoList, m_objects);
    m_phase = PhaseSent;
    return QJsonDocument(job);
}

void MultipleDelete::execResult(const QJsonObject& result)
{
    m_phase = PhaseDone;
    const QJsonValue failures = result.value(JobFormat::Result::ResultData);
    if (!isSuccess(result) || !failures.isArray()) {
        failWithResult(result);
        return;
    }
    {
        QMutexLocker lock(&m_resultMutex);
        m_failures = failures.toArray();
    }
    changeState(StateComplete, QString());
}

} // namespace Operation

QJsonDocument multipleDelete(Api::IConnection* connection, const QJsonObject& job)
{
    if (!connection)
        return QJsonDocument();
    NorvikDebug("NKC").debug() << "Start MultipleDelete job";
    if (connection->maxDeleteCount() == 0)
        throw Api::Exception::UnsupportedOperation();
    const QJsonArray failures =
        connection->delete_(job.value(OperationConfig::ContainerName).toString(),
                            job.value(JobFormat::MultipleDelete::ObjectInfoList).toArray());
    NorvikDebug("NKC").debug() << "Finished MultipleDelete job";
    return JobResult::success(job, failures);
}

} // namespace Norvik::Cloud
