#pragma once

#include "engine/EngineThread.h"

#include <QByteArray>
#include <QUuid>

namespace nn {
class socket;
}

namespace Norvik::Cloud {

// A job thread: takes any job document from the shared worker socket, runs it and publishes
// the result to the task thread named by the job's "task_id".
class OperationJob : public EngineThread
{
public:
    explicit OperationJob(nn::socket* workerSocket);

protected:
    void run() override;

private:
    void loop();
    void runJob(const QByteArray& message);

    nn::socket* const m_workerSocket;
};

} // namespace Norvik::Cloud
