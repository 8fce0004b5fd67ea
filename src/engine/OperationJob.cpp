#include "engine/OperationJob.h"

#include "engine/Command.h"
#include "engine/JobFormat.h"
#include "engine/OperationManager.h"
#include "engine/SocketMessage.h"

#include <NorvikCore/NorvikDebug.h>

#include <nanomsg/pubsub.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QVariantMap>

namespace Norvik::Cloud {

namespace {

const char* const ClassName = "OperationJob";
constexpr int PollTimeoutMs = 100;

} // namespace

OperationJob::OperationJob(nn::socket* workerSocket)
    : m_workerSocket(workerSocket)
{
}

void OperationJob::run()
{
    // Job failures become results further down; what arrives here is a fault of the engine,
    // and it ends the thread for good.
    try {
        loop();
    } catch (const nn::exception& e) {
        NorvikDebug("NKC").error() << "OperationJob id:" << id().toString() << "exception (nn):" << e.what();
    } catch (const std::exception& e) {
        NorvikDebug("NKC").error() << "OperationJob id:" << id().toString() << "exception (std):" << e.what();
    } catch (...) {
        NorvikDebug("NKC").error() << "OperationJob id:" << id().toString() << "unknown exception";
    }
    NorvikDebug("NKC").info() << "OperationJob: stopped:" << id().toString();
}

void OperationJob::loop()
{
    nn::socket subscriber(AF_SP, NN_SUB);
    subscriber.connect(OperationManager::COMMAND_ADDRESS);
    // Everything: nanomsg filters topics only when a message is taken, so a narrower
    // subscription would still wake the poll for every result, and the blocking receive of a
    // command could then wait behind a message it discards.
    subscriber.setsockopt(NN_SUB, NN_SUB_SUBSCRIBE, "", 0);
    NorvikDebug("NKC").info() << "Worker stated:" << id().toString();

    for (;;) {
        nn_pollfd fds[2] = {{subscriber.fd(), NN_POLLIN, 0}, {m_workerSocket->fd(), NN_POLLIN, 0}};
        if (nn::poll(fds, 2, PollTimeoutMs) < 1)
            continue;
        if (fds[0].revents & NN_POLLIN) {
            // Results of every task arrive here too; they are no commands and are dropped.
            const std::unique_ptr<Command> command = Command::create(subscriber);
            if (command && command->type() == Command::Stop)
                break;
        }
        if (!(fds[1].revents & NN_POLLIN))
            continue;
        // Every job thread wakes for a job and only one gets it; the others find nothing here.
        const QByteArray message = receiveMessage(*m_workerSocket, NN_DONTWAIT);
        if (!message.isEmpty())
            runJob(message);
    }
    NorvikDebug("NKC").info() << "Stop command: worker" << id().toString();
}

void OperationJob::runJob(const QByteArray& message)
{
    const QJsonDocument job = QJsonDocument::fromBinaryData(message, QJsonDocument::Validate);
    if (job.isNull() || !job.isObject()) {
        NorvikDebug("NKC").warning() << ClassName << ": unknown operation job format";
        return;
    }
    NorvikDebug("NKC").debug() << ClassName << "[" << id().toString() << "]";
    const QVariantMap config = job.object().toVariantMap();
    const QUuid taskId = config.value(JobFormat::TaskId).toUuid();

    // This thread holds no connection, so the job goes back as its own result. It carries no
    // "status", which every operation reads as a failure with code 0 and empty texts.
    OperationManager::instance().sendOperationResult(taskId, job);
}

} // namespace Norvik::Cloud
