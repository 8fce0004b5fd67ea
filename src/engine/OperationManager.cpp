#include "engine/OperationManager.h"

#include "engine/Command.h"
#include "engine/IOperation.h"
#include "engine/OperationJob.h"
#include "engine/OperationTask.h"
#include "engine/nn.hpp"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/ClientCurl.h>

#include <nanomsg/pipeline.h>
#include <nanomsg/pubsub.h>
#include <openssl/crypto.h>
#include <openssl/ssl.h>

#include <QCoreApplication>
#include <QMutexLocker>
#include <QThread>

#include <algorithm>
#include <cerrno>

namespace Norvik::Cloud {

namespace {

const char* const ClassName = "OperationManager";
constexpr int DefaultThreadCount = 10;
constexpr quint64 MinimumMemoryUsed = 104857600;
constexpr int StopRepeatMs = 200;

QMutex temporaryFolderMutex;
// Chosen once per process, at library load.
QString temporaryFolder = QStringLiteral("/tmp/%1").arg(QUuid::createUuid().toString());

} // namespace

std::atomic<int> OperationManager::s_threadCount{DefaultThreadCount};
std::atomic<quint64> OperationManager::s_memoryUsed{MinimumMemoryUsed};

OperationManager& OperationManager::instance()
{
    static OperationManager manager;
    return manager;
}

void OperationManager::setThreadCount(int count)
{
    s_threadCount.store(std::max(count, 1));
}

int OperationManager::threadCount()
{
    return s_threadCount.load();
}

void OperationManager::setMemoryUsed(quint64 bytes)
{
    s_memoryUsed.store(std::max(bytes, MinimumMemoryUsed));
}

quint64 OperationManager::memoryUsed()
{
    return s_memoryUsed.load();
}

void OperationManager::setTemporaryFileFolderPath(const QString& path)
{
    QMutexLocker lock(&temporaryFolderMutex);
    temporaryFolder = path;
}

QString OperationManager::temporaryFileFolderPath()
{
    QMutexLocker lock(&temporaryFolderMutex);
    return temporaryFolder;
}

OperationManager::OperationManager()
{
    init();
    // Threads left running while the process exits would use objects that are being
    // destroyed. The application object goes first, while every static still stands.
    qAddPostRoutine([] { instance().stopForgotten(); });
}

OperationManager::~OperationManager()
{
    // Only without a QCoreApplication: the engine is normally stopped by now.
    stopForgotten();
}

void OperationManager::stopForgotten()
{
    if (m_stopped)
        return;
    NorvikDebug("NKC").warning() << ClassName << ": stop() was not called before exit, stopping now";
    stop();
}

bool OperationManager::init()
{
    NorvikFullDebug trace(Q_FUNC_INFO);
    // Once only: a second run would replace the sockets under the running threads.
    if (m_initialised)
        return false;
    m_initialised = true;
    try {
        m_workerSocket = std::make_unique<nn::socket>(AF_SP, NN_PULL);
        m_workerSocket->bind(WORKER_ADDRESS);
        m_commandSocket = std::make_unique<nn::socket>(AF_SP, NN_PUB);
        m_commandSocket->bind(COMMAND_ADDRESS);
        m_taskSocket = std::make_unique<nn::socket>(AF_SP, NN_PULL);
        m_taskSocket->bind(TASK_ADDRESS);
        m_taskSender = std::make_unique<nn::socket>(AF_SP, NN_PUSH);
        m_taskSender->connect(TASK_ADDRESS);
    } catch (...) {
        // The manager stays inert: exec() does nothing without a task sender.
        NorvikDebug("NKC").warning() << "Error on create operation socket";
        m_taskSender.reset();
        return false;
    }

    const int count = threadCount();
    for (int i = 0; i < count; ++i) {
        m_tasks.push_back(std::make_unique<OperationTask>(m_taskSocket.get()));
        m_tasks.back()->start();
        m_jobs.push_back(std::make_unique<OperationJob>(m_workerSocket.get()));
        m_jobs.back()->start();
    }

    OPENSSL_init_ssl(0, nullptr);
    OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr);

    // Each thread connects and subscribes on its own, without a handshake, and a subscriber
    // that is not connected yet misses what is published: this pause is what lets them settle.
    QThread::sleep(1);
    return true;
}

void OperationManager::stop()
{
    NorvikFullDebug trace(Q_FUNC_INFO);
    // First, because a job thread looks at its commands only between jobs: a job inside a
    // long transfer would otherwise hold up the join.
    Network::ClientCurl::terminate();
    commandStopThread();
    joinThread();
    m_stopped = true;
    m_taskSender.reset();
    m_taskSocket.reset();
    m_commandSocket.reset();
    m_workerSocket.reset();
}

void OperationManager::commandStopThread()
{
    QMutexLocker lock(&m_commandMutex);
    if (!m_commandSocket)
        return;
    const QByteArray command = Command::stop();
    m_commandSocket->send(command.constData(), command.size(), NN_DONTWAIT);
}

void OperationManager::joinThread()
{
    // A subscriber whose queue is full when the stop command goes out never sees it: a job
    // thread inside a long transfer collects every result published meanwhile, and nanomsg
    // drops what does not fit. So the command goes out again until every thread has ended.
    for (const auto& task : m_tasks) {
        while (!task->tryJoin(StopRepeatMs))
            commandStopThread();
    }
    for (const auto& job : m_jobs) {
        while (!job->tryJoin(StopRepeatMs))
            commandStopThread();
    }
}

void OperationManager::exec(const QUuid& id)
{
    if (!m_taskSender)
        return;
    const QSharedPointer<IOperation> operation = getOperation(id);
    if (!operation)
        return;
    operation->changeState(IOperation::StateQueued, QString());
    const QByteArray message = id.toByteArray();
    m_taskSender->send(message.constData(), message.size(), NN_DONTWAIT);
}

QSharedPointer<IOperation> OperationManager::getOperation(const QUuid& id)
{
    QMutexLocker lock(&m_operationsMutex);
    return m_operations.value(id);
}

void OperationManager::removeOperation(const QUuid& id)
{
    QSharedPointer<IOperation> removed;
    {
        QMutexLocker lock(&m_operationsMutex);
        removed = m_operations.take(id);
    }
    // The last reference may go here: the operation is destroyed outside the lock.
}

bool OperationManager::registerOperation(const QSharedPointer<IOperation>& operation)
{
    if (!operation)
        return false;
    QMutexLocker lock(&m_operationsMutex);
    m_operations.insert(operation->id(), operation);
    return true;
}

void OperationManager::sendOperationResult(const QUuid& taskId, const QJsonDocument& result)
{
    QMutexLocker lock(&m_commandMutex);
    if (!m_commandSocket)
        return;
    const QByteArray message = taskId.toByteArray() + result.toBinaryData();
    if (m_commandSocket->send(message.constData(), message.size(), 0) < 0)
        NorvikDebug("NKC").warning() << "Send message error code:" << errno;
}

} // namespace Norvik::Cloud
