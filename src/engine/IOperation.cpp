#include "engine/IOperation.h"

#include "engine/JobFormat.h"
#include "engine/OperationManager.h"

namespace Norvik::Cloud {

IOperation::IOperation(const QString& type, const QMap<QString, QVariant>& config, QObject* parent)
    : QObject(parent)
    , m_id(QUuid::createUuid())
    , m_config(config)
    , m_type(type)
{
    // Queued even when emitted on the owning thread: a state change never takes effect
    // inside the call that made it, so a task thread never runs client code.
    connect(this, SIGNAL(signalChangeState(int, QString)), this, SLOT(onChangeState(int, QString)),
            Qt::QueuedConnection);
}

IOperation::~IOperation() = default;

void IOperation::exec()
{
    OperationManager::instance().exec(id());
}

void IOperation::remove()
{
    OperationManager::instance().removeOperation(id());
}

bool IOperation::isComplite() const
{
    const State current = state();
    return current == StateComplete || current == StateError;
}

void IOperation::onChangeState(int state, const QString& message)
{
    m_state.store(static_cast<State>(state));
    m_errorMessage = message;
    if (state == StateRunning)
        emit started();
    else if (state == StateComplete || state == StateError)
        emit finished();
}

void IOperation::changeState(State state, const QString& message)
{
    emit signalChangeState(int(state), message, QPrivateSignal());
}

QJsonObject IOperation::createJob(const QString& jobType) const
{
    QJsonObject job = QJsonObject::fromVariantMap(m_config);
    job.insert(JobFormat::Type, jobType);
    job.insert(JobFormat::Id, m_id.toString());
    return job;
}

void IOperation::failWithResult(const QJsonObject& result)
{
    setErrorCode(result.value(JobFormat::Result::ErrorCode).toInt(0));
    setCloudError(result.value(JobFormat::Result::CloudError).toString());
    changeState(StateError, result.value(JobFormat::Result::ErrorMessage).toString());
}

bool IOperation::isSuccess(const QJsonObject& result)
{
    return result.value(JobFormat::Result::Status::Key).toString() ==
           JobFormat::Result::Status::Value::Success;
}

} // namespace Norvik::Cloud
