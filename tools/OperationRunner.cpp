#include "OperationRunner.h"

#include <engine/IOperation.h>

#include <QEventLoop>

namespace NorvikTool {

using Norvik::Cloud::IOperation;

QString OperationRunner::Outcome::describe() const
{
    // A job that never reached a connection comes back without any reason.
    const QString reason = !message.isEmpty() ? message
                           : code == 0        ? QStringLiteral("the storage gave no reason (see --verbose)")
                                              : QStringLiteral("(no message)");
    QString text = QStringLiteral("error %1: %2").arg(code).arg(reason);
    if (!cloudError.isEmpty())
        text += QStringLiteral(" [cloud error record %1]").arg(cloudError);
    return text;
}

OperationRunner::Outcome OperationRunner::run(const QSharedPointer<IOperation>& operation)
{
    Outcome outcome;
    if (!operation) {
        outcome.message = QStringLiteral("the library refused the arguments (see the log)");
        return outcome;
    }
    QEventLoop loop;
    QObject::connect(operation.data(), &IOperation::finished, &loop, &QEventLoop::quit);
    operation->exec();
    if (!operation->isComplite())
        loop.exec();
    outcome.ok = operation->state() == IOperation::StateComplete;
    outcome.code = operation->errorCode();
    outcome.message = operation->errorMessage();
    outcome.cloudError = operation->cloudError();
    operation->remove();
    return outcome;
}

} // namespace NorvikTool
