#pragma once

#include "engine/EngineThread.h"

#include <QJsonDocument>
#include <QPair>
#include <QSharedPointer>
#include <QString>
#include <QUuid>

#include <memory>

namespace nn {
class socket;
}

namespace Norvik::Cloud {

// A task thread: adopts one operation at a time from the shared task socket, asks it for
// jobs on every pass of its loop, pushes them to the job threads and hands the results it
// receives under its own id back to the operation. It is released when it sees the operation
// in state 3 or 4, or gone from the registry.
class IOperation;

class OperationTask : public EngineThread
{
public:
    explicit OperationTask(nn::socket* taskSocket);
    ~OperationTask() override;

    // Moves the operation to state 2; false when it is not registered.
    bool onTask(const QUuid& operationId);
    // Hands a job's result to the operation; false for a document that is no object, a result
    // whose "id" names another operation (dropped after a warning), or an operation that is gone.
    bool operationResult(const QUuid& operationId, const QJsonDocument& result);
    // Checks that an operation is a single-shot upload and marks it running. Kept for
    // callers outside the thread loop; the loop itself does not need it.
    static QPair<bool, QString> taskUpload(QSharedPointer<IOperation> operation);

    void closeSockets() override;

protected:
    void run() override;

private:
    void loop();

    nn::socket* const m_taskSocket;
    // Made and used by the thread alone; closed after every thread has ended.
    std::unique_ptr<nn::socket> m_subscriber;
    std::unique_ptr<nn::socket> m_jobSender;
};

} // namespace Norvik::Cloud
