#include "OperationRunner.h"

#include <engine/IOperation.h>

#include <QEventLoop>

namespace NorvikTool {

using Norvik::Cloud::IOperation;

QString OperationRunner::Outcome::describe() const
{
    QString text = QStringLiteral("error %1: %2").arg(code).arg(message.isEmpty() ? QStringLiteral("(no message)") : message);
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
