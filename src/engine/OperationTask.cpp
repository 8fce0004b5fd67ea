#include "engine/OperationTask.h"

#include "operations/UploadOnce.h"

#include "engine/Command.h"
#include "engine/IOperation.h"
#include "engine/JobFormat.h"
#include "engine/OperationManager.h"
#include "engine/SocketMessage.h"

#include <NorvikCore/NorvikDebug.h>

#include <nanomsg/pipeline.h>
#include <nanomsg/pubsub.h>

#include <QJsonObject>

namespace Norvik::Cloud {

namespace {

const char* const ClassName = "OperationTask";
constexpr int PollTimeoutMs = 100;

} // namespace

OperationTask::OperationTask(nn::socket* taskSocket)
    : m_taskSocket(taskSocket)
{
}

OperationTask::~OperationTask() = default;

void OperationTask::closeSockets()
{
    m_jobSender.reset();
    m_subscriber.reset();
}

void OperationTask::run()
{
    // Any exception ends the thread for good: the pool has one task thread less from then on.
    try {
        loop();
    } catch (const nn::exception& e) {
        NorvikDebug("NKC").error() << ClassName << "id:" << id().toString() << "exception (nn):" << e.what();
    } catch (const std::exception& e) {
        NorvikDebug("NKC").error() << ClassName << "id:" << id().toString() << "exception (std):" << e.what();
    } catch (...) {
        NorvikDebug("NKC").error() << ClassName << "id:" << id().toString() << "unknown exception";
    }
    NorvikDebug("NKC").info() << ClassName << "finished:" << id().toString();
}

void OperationTask::loop()
{
    m_subscriber = std::make_unique<nn::socket>(AF_SP, NN_SUB);
    nn::socket& subscriber = *m_subscriber;
    subscriber.connect(OperationManager::COMMAND_ADDRESS);
    const QByteArray ownTopic = id().toByteArray();
    subscriber.setsockopt(NN_SUB, NN_SUB_SUBSCRIBE, ownTopic.constData(), ownTopic.size());
    const QByteArray commandTopic = OperationManager::COMMAND_ID.toByteArray();
    subscriber.setsockopt(NN_SUB, NN_SUB_SUBSCRIBE, commandTopic.constData(), commandTopic.size());
    m_jobSender = std::make_unique<nn::socket>(AF_SP, NN_PUSH);
    nn::socket& jobSender = *m_jobSender;
    jobSender.connect(OperationManager::WORKER_ADDRESS);

    bool free = true;
    QUuid current;
    const int idLength = QUuid().toByteArray().size();
    // After a job went out the operation is asked again at once: otherwise its parts in flight
    // would grow by one per result or per poll period, and a transfer would stay below the
    // parallelism that makeJob() allows.
    bool sent = false;

    for (;;) {
        // A busy thread leaves the task socket out of its poll: it takes no new operation.
        nn_pollfd fds[2] = {{subscriber.fd(), NN_POLLIN, 0}, {m_taskSocket->fd(), NN_POLLIN, 0}};
        const int timeout = sent ? 0 : PollTimeoutMs;
        sent = false;
        if (nn::poll(fds, free ? 2 : 1, timeout) >= 1) {
            if (fds[0].revents & NN_POLLIN) {
                QByteArray message = receiveMessage(subscriber, NN_DONTWAIT);
                if (!message.isEmpty()) {
                    if (QUuid(message.left(idLength)) != OperationManager::COMMAND_ID) {
                        message.remove(0, idLength);
                        NorvikDebug("NKC").debug() << "it's answer for my task!";
                        operationResult(current,
                                        QJsonDocument::fromBinaryData(message, QJsonDocument::Validate));
                    } else {
                        const std::unique_ptr<Command> command = Command::create(message);
                        if (command && command->type() == Command::Stop) {
                            NorvikDebug("NKC").info() << "Stop command: task" << id().toString();
                            return;
                        }
                    }
                }
            }
            if (free && (fds[1].revents & NN_POLLIN)) {
                const QByteArray message = receiveMessage(*m_taskSocket, NN_DONTWAIT);
                if (!message.isEmpty()) {
                    free = false;
                    current = QUuid(message);
                    if (!onTask(current)) {
                        free = true;
                        current = QUuid();
                    }
                }
            }
        }

        if (free || current.isNull())
            continue;

        // The thread learns that its operation has ended by looking, not by being told.
        const QSharedPointer<IOperation> operation = OperationManager::instance().getOperation(current);
        if (!operation || operation->isComplite()) {
            free = true;
            current = QUuid();
            continue;
        }

        // Asked on every pass: after each result and at least once per poll period. Flow
        // control lies wholly in makeJob(), which returns an empty document to hold back.
        const QJsonDocument job = operation->makeJob();
        if (job.isEmpty())
            continue;
        QJsonObject object = job.object();
        object.insert(JobFormat::TaskId, id().toString());
        const QByteArray data = QJsonDocument(object).toBinaryData();
        jobSender.send(data.constData(), data.size(), NN_DONTWAIT);
        sent = true;
    }
}

bool OperationTask::onTask(const QUuid& operationId)
{
    NorvikDebug("NKC").debug() << "it's my task:" << operationId.toString();
    const QSharedPointer<IOperation> operation = OperationManager::instance().getOperation(operationId);
    if (!operation) {
        NorvikDebug("NKC").warning() << "Operation is 0x00, id:" << operationId.toString();
        return false;
    }
    operation->changeState(IOperation::StateRunning, QString());
    return true;
}

bool OperationTask::operationResult(const QUuid& operationId, const QJsonDocument& result)
{
    if (result.isNull() || !result.isObject())
        return false;
    // A late result of an operation that was removed while its jobs were out: it would put
    // a foreign part or a foreign count into the operation this thread serves now.
    const QUuid resultId(result.object().value(JobFormat::Id).toString());
    if (resultId != operationId) {
        NorvikDebug("NKC").warning() << "Unknown operation handler, id:" << resultId.toString();
        return false;
    }
    const QSharedPointer<IOperation> operation = OperationManager::instance().getOperation(operationId);
    if (!operation) {
        NorvikDebug("NKC").warning() << "Operation is 0x00, id:" << operationId.toString();
        return false;
    }
    operation->resultJob(result);
    return true;
}

QPair<bool, QString> OperationTask::taskUpload(QSharedPointer<IOperation> operation)
{
    if (!qSharedPointerDynamicCast<Operation::UploadOnce>(operation))
        return qMakePair(false, QStringLiteral("error operation type, is not: ") + OperationType::Upload);
    operation->changeState(IOperation::StateRunning, QString());
    return qMakePair(true, QString());
}

} // namespace Norvik::Cloud
