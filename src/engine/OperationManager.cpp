#include "engine/OperationManager.h"

#include "engine/Command.h"
#include "engine/IOperation.h"
#include "engine/OperationJob.h"
#include "engine/OperationTask.h"
#include "engine/nn.hpp"
#include "operations/ArchiveCheckReadyForDownload.h"
#include "operations/ArchiveFinalizeDownloaded.h"
#include "operations/ArchivePrepareForDownload.h"
#include "operations/CheckConfig.h"
#include "operations/CreateContainer.h"
#include "operations/DeleteOnce.h"
#include "operations/Download2Stream.h"
#include "operations/DownloadAuto2Stream.h"
#include "operations/DownloadBlob.h"
#include "operations/DownloadBlob2Stream.h"
#include "operations/ListContainers.h"
#include "operations/Listing.h"
#include "operations/MultipleDelete.h"
#include "operations/SignUrl.h"
#include "operations/StreamTransformation.h"
#include "operations/UploadAuto.h"
#include "operations/UploadEmptyFolder.h"
#include "operations/UploadMultipart.h"
#include "operations/UploadOnce.h"

#include <NorvikCore/NorvikDebug.h>
#include <NorvikNetwork/ClientCurl.h>

#include <nanomsg/pipeline.h>
#include <nanomsg/pubsub.h>
#include <openssl/crypto.h>
#include <openssl/ssl.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QIODevice>
#include <QJsonArray>
#include <QJsonObject>
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
    for (const auto& task : m_tasks)
        task->closeSockets();
    for (const auto& job : m_jobs)
        job->closeSockets();
    {
        QMutexLocker lock(&m_taskSenderMutex);
        m_taskSender.reset();
    }
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
    const QSharedPointer<IOperation> operation = getOperation(id);
    if (!operation)
        return;
    QMutexLocker lock(&m_taskSenderMutex);
    // Gone once the engine has stopped (or never made): nothing would run the operation.
    if (!m_taskSender)
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

namespace {

void logInvalidInput(const QString& name, const char* text = "input params is not valid")
{
    NorvikDebug("NKC").warning() << ClassName << ":" << name << text;
}

template <typename T>
void logInput(const char* label, const T& value)
{
    NorvikDebug("NKC").debug() << label << ":" << value;
}

} // namespace

QSharedPointer<IOperation> OperationManager::upload(const QMap<QString, QVariant>& cloudConfig,
                                                    const QString& cloudPath,
                                                    const QMap<QString, QVariant>& metadata,
                                                    QIODevice* device)
{
    static const QString name = QStringLiteral("upload");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty() || !device || !device->isReadable()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("cloudPath", cloudPath);
        return {};
    }
    return adopt(new Operation::UploadOnce(cloudConfig, cloudPath, metadata, device, nullptr));
}

QSharedPointer<IOperation> OperationManager::uploadEmptyFolder(const QMap<QString, QVariant>& cloudConfig,
                                                               const QString& cloudPath)
{
    static const QString name = QStringLiteral("uploadEmptyFolder");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("cloudPath", cloudPath);
        return {};
    }
    return adopt(new Operation::UploadEmptyFolder(cloudConfig, cloudPath, nullptr));
}

QSharedPointer<IOperation> OperationManager::checkConfig(const QMap<QString, QVariant>& cloudConfig)
{
    static const QString name = QStringLiteral("checkConfig");
    if (cloudConfig.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        return {};
    }
    return adopt(new Operation::CheckConfig(cloudConfig, nullptr));
}

QSharedPointer<IOperation> OperationManager::listing(const QMap<QString, QVariant>& cloudConfig,
                                                     const QString& prefix, const QString& marker,
                                                     const QString& delimiter, quint16 maxCount)
{
    static const QString name = QStringLiteral("listing");
    if (cloudConfig.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("prefix", prefix);
        logInput("marker", marker);
        return {};
    }
    return adopt(new Operation::Listing(cloudConfig, prefix, marker, delimiter, maxCount, nullptr));
}

QSharedPointer<IOperation> OperationManager::listContainers(const QMap<QString, QVariant>& cloudConfig)
{
    static const QString name = QStringLiteral("listContainers");
    if (cloudConfig.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        return {};
    }
    return adopt(new Operation::ListContainers(cloudConfig, nullptr));
}

QSharedPointer<IOperation> OperationManager::createContainer(const QMap<QString, QVariant>& cloudConfig,
                                                             const QJsonObject& params)
{
    static const QString name = QStringLiteral("createContainer");
    if (cloudConfig.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("paramsObject", params);
        return {};
    }
    return adopt(new Operation::CreateContainer(cloudConfig, params, nullptr));
}

QSharedPointer<IOperation> OperationManager::deleteOnce(const QMap<QString, QVariant>& cloudConfig,
                                                        const QJsonObject& cloudObject)
{
    static const QString name = QStringLiteral("deleteOnce");
    if (cloudConfig.isEmpty() || cloudObject.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("cloudObject", cloudObject);
        return {};
    }
    return adopt(new Operation::DeleteOnce(cloudConfig, cloudObject, nullptr));
}

QSharedPointer<IOperation> OperationManager::multipleDelete(const QMap<QString, QVariant>& cloudConfig,
                                                            const QJsonArray& cloudObjects)
{
    static const QString name = QStringLiteral("multipleDelete");
    if (cloudConfig.isEmpty() || cloudObjects.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("cloudObjects", cloudObjects);
        return {};
    }
    return adopt(new Operation::MultipleDelete(cloudConfig, cloudObjects, nullptr));
}

QSharedPointer<IOperation> OperationManager::signUrl(const QMap<QString, QVariant>& cloudConfig,
                                                     const QString& path, bool useSsl,
                                                     const QDateTime& expires)
{
    static const QString name = QStringLiteral("signUrl");
    // An invalid time would count as "now" and sign a URL of no defined life.
    if (cloudConfig.isEmpty() || path.isEmpty() || !expires.isValid() ||
        QDateTime::currentDateTime().secsTo(expires) < 0) {
        logInvalidInput(name, "input params is not valide");
        logInput("cloudConfig", cloudConfig);
        logInput("path", path);
        return {};
    }
    return adopt(new Operation::SignUrl(cloudConfig, path, useSsl, expires, nullptr));
}

QSharedPointer<IOperation> OperationManager::uploadMultipart(const QMap<QString, QVariant>& cloudConfig,
                                                             const QString& cloudPath,
                                                             const QMap<QString, QVariant>& metadata,
                                                             QIODevice* device, const QByteArray& uploadInfo)
{
    static const QString name = QStringLiteral("uploadMultipart");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty() || !device || !device->isReadable()) {
        NorvikDebug("NKC").warning() << ClassName << ":" << name << "input params is not valid";
        NorvikDebug("NKC").debug() << "cloudConfig"
                                   << ":" << cloudConfig;
        NorvikDebug("NKC").debug() << "cloudPath"
                                   << ":" << cloudPath;
        return {};
    }
    return adopt(
        new Operation::UploadMultipart(cloudConfig, cloudPath, metadata, device, uploadInfo, nullptr));
}

QSharedPointer<IOperation> OperationManager::download2Stream(const QMap<QString, QVariant>& cloudConfig,
                                                             const QString& cloudPath, QIODevice* device)
{
    static const QString name = QStringLiteral("download2Stream");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty() || !device || !device->isWritable()) {
        NorvikDebug("NKC").warning() << ClassName << ":" << name << "input params is not valid";
        NorvikDebug("NKC").debug() << "cloudConfig"
                                   << ":" << cloudConfig;
        NorvikDebug("NKC").debug() << "cloudPath"
                                   << ":" << cloudPath;
        return {};
    }
    return adopt(new Operation::Download2Stream(cloudConfig, cloudPath, device, nullptr));
}

QSharedPointer<IOperation> OperationManager::downloadBlob(const QMap<QString, QVariant>& cloudConfig,
                                                          const QString& cloudPath, quint64 position,
                                                          quint64 size)
{
    static const QString name = QStringLiteral("downloadBlob");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty()) {
        NorvikDebug("NKC").warning() << ClassName << ":" << name << "input params is not valid";
        NorvikDebug("NKC").debug() << "cloudConfig"
                                   << ":" << cloudConfig;
        NorvikDebug("NKC").debug() << "cloudPath"
                                   << ":" << cloudPath;
        return {};
    }
    return adopt(new Operation::DownloadBlob(cloudConfig, cloudPath, position, size, nullptr));
}

QSharedPointer<IOperation> OperationManager::downloadBlob2Stream(const QMap<QString, QVariant>& cloudConfig,
                                                                 const QString& cloudPath, quint64 position,
                                                                 quint64 size, QIODevice* device)
{
    static const QString name = QStringLiteral("downloadBlob2Stream");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty() || !device || !device->isWritable()) {
        NorvikDebug("NKC").warning() << ClassName << ":" << name << "input params is not valid";
        NorvikDebug("NKC").debug() << "cloudConfig"
                                   << ":" << cloudConfig;
        NorvikDebug("NKC").debug() << "cloudPath"
                                   << ":" << cloudPath;
        return {};
    }
    return adopt(new Operation::DownloadBlob2Stream(cloudConfig, cloudPath, position, size, device, nullptr));
}

QSharedPointer<IOperation> OperationManager::uploadAuto(const QMap<QString, QVariant>& cloudConfig,
                                                        const QString& cloudPath,
                                                        const QMap<QString, QVariant>& metadata,
                                                        QIODevice* device)
{
    static const QString name = QStringLiteral("uploadAuto");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty() || !device || !device->isReadable()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("cloudPath", cloudPath);
        return {};
    }
    return adopt(new Operation::UploadAuto(cloudConfig, cloudPath, metadata, device, nullptr));
}

QSharedPointer<IOperation> OperationManager::DownloadAuto2Stream(const QMap<QString, QVariant>& cloudConfig,
                                                                 const QString& cloudPath, QIODevice* device,
                                                                 bool useRange, quint64 size,
                                                                 quint64 position)
{
    static const QString name = QStringLiteral("DownloadAuto2Stream");
    if (cloudConfig.isEmpty() || cloudPath.isEmpty() || !device || !device->isWritable()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("cloudPath", cloudPath);
        return {};
    }
    return adopt(new Operation::DownloadAuto2Stream(cloudConfig, cloudPath, device, position, size, useRange,
                                                    nullptr));
}

QSharedPointer<IOperation> OperationManager::streamTransformation(QIODevice* in, QIODevice* out, qint64 size)
{
    static const QString name = QStringLiteral("streamTransformation");
    if (!in || !in->isReadable() || !out || !out->isWritable()) {
        logInvalidInput(name, "input params is not valide");
        return {};
    }
    return adopt(new Operation::StreamTransformation(
        in, out, static_cast<unsigned long long>(qMax<qint64>(0, size)), nullptr));
}

QSharedPointer<IOperation> OperationManager::adopt(IOperation* operation)
{
    // The last reference may be let go on a task thread (the client removed the operation
    // while the thread was looking at it); a QObject is destroyed on its own thread.
    QSharedPointer<IOperation> shared(operation, [](IOperation* doomed) {
        const QThread* owner = doomed->thread();
        if (owner == QThread::currentThread() || !owner || owner->isFinished())
            delete doomed;
        else
            doomed->deleteLater();
    });
    registerOperation(shared);
    return shared;
}

// --- Archive restore ------------------------------------------------------------------------

QSharedPointer<IOperation>
OperationManager::archivePrepareForDownload(const QMap<QString, QVariant>& cloudConfig, const QString& path,
                                            const QJsonObject& options)
{
    static const QString name = QStringLiteral("archivePrepareForDownload");
    if (cloudConfig.isEmpty() || path.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("path", path);
        return {};
    }
    return adopt(new Operation::Archive::PrepareForDownload(cloudConfig, path, options, nullptr));
}

QSharedPointer<IOperation>
OperationManager::archiveCheckReadyForDownload(const QMap<QString, QVariant>& cloudConfig,
                                               const QString& path)
{
    static const QString name = QStringLiteral("archiveCheckReadyForDownload");
    if (cloudConfig.isEmpty() || path.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("path", path);
        return {};
    }
    return adopt(new Operation::Archive::CheckReadyForDownload(cloudConfig, path, nullptr));
}

QSharedPointer<IOperation>
OperationManager::archiveFinalizeDownloaded(const QMap<QString, QVariant>& cloudConfig, const QString& path)
{
    static const QString name = QStringLiteral("archiveFinalizeDownloaded");
    if (cloudConfig.isEmpty() || path.isEmpty()) {
        logInvalidInput(name);
        logInput("cloudConfig", cloudConfig);
        logInput("path", path);
        return {};
    }
    return adopt(new Operation::Archive::FinalizeDownloaded(cloudConfig, path, nullptr));
}

} // namespace Norvik::Cloud
