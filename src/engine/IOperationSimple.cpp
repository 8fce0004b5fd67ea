#include "engine/IOperationSimple.h"

#include <QMutexLocker>

namespace Norvik::Cloud {

IOperationSimple::IOperationSimple(const QString& type, const QMap<QString, QVariant>& config,
                                   QObject* parent)
    : IOperation(type, config, parent)
{
}

QJsonDocument IOperationSimple::makeJob()
{
    QMutexLocker lock(&m_mutex);
    if (m_phase != PhaseIdle)
        return QJsonDocument();
    return execJob();
}

void IOperationSimple::resultJob(const QJsonDocument& result)
{
    QMutexLocker lock(&m_mutex);
    if (result.isNull() || !result.isObject())
        return;
    const QJsonObject object = result.object();
    if (m_phase == PhaseSent)
        execResult(object);
}

} // namespace Norvik::Cloud
