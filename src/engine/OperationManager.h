#pragma once

#include <QJsonDocument>
#include <QMap>
#include <QMutex>
#include <QSharedPointer>
#include <QString>
#include <QUuid>
#include <QVariant>

#include <atomic>
#include <memory>
#include <vector>

class QDateTime;
class QIODevice;
class QJsonArray;
class QJsonObject;

namespace nn {
class socket;
}

namespace Norvik::Cloud {

class IOperation;
class OperationJob;
class OperationTask;

// The library's entry object and the owner of the engine: the sockets, the task and job
// threads, and the registry of operations by id.
//
// The first instance() starts ThreadCount task threads and as many job threads and then
// sleeps one second: the threads subscribe to the command socket on their own, and that
// pause is the only thing that lets their subscriptions settle before the first result is
// published. stop() ends the engine for good; it cannot be started again.
class OperationManager
{
public:
    static OperationManager& instance();

    // The topic of control messages on the command socket.
    static constexpr QUuid COMMAND_ID = QUuid();
    static constexpr const char* COMMAND_ADDRESS = "inproc://command_address";
    static constexpr const char* TASK_ADDRESS = "inproc://task_address";
    static constexpr const char* WORKER_ADDRESS = "inproc://worker_address";

    // Task threads and job threads each; at least 1. Takes effect only before the first
    // instance().
    static void setThreadCount(int count);
    static int threadCount();
    // The byte budget of the memory buffers; at least 104857600, which is also the default.
    static void setMemoryUsed(quint64 bytes);
    static quint64 memoryUsed();
    // Where part files wait; stored as given. The default is a fresh folder name under /tmp.
    static void setTemporaryFileFolderPath(const QString& path);
    static QString temporaryFileFolderPath();

    // Binds the sockets and starts the threads; run by the first instance(). False when a
    // socket cannot be made, which leaves the engine inert, or when it has run before.
    bool init();
    // Aborts all transfers, stops and joins every thread and closes the sockets. Queued jobs
    // and undelivered results are dropped; operations are not told.
    void stop();

    // Queues a registered operation for a task thread; unknown ids and a stopped engine are
    // ignored.
    void exec(const QUuid& id);
    QSharedPointer<IOperation> getOperation(const QUuid& id);
    void removeOperation(const QUuid& id);
    // Adds an operation made elsewhere to the registry, under its id. False for a null
    // pointer.
    bool registerOperation(const QSharedPointer<IOperation>& operation);
    // Publishes a job's result to the task thread that sent the job.
    void sendOperationResult(const QUuid& taskId, const QJsonDocument& result);

    // Single-shot uploads, listing, containers, delete and sign. Like every starting function,
    // each checks its input, makes the operation, registers it and returns it unstarted (call
    // exec()); on bad input it returns null and logs why. A cloudConfig must not be empty.
    //
    // upload: the whole device as one object; the device must be open for reading.
    QSharedPointer<IOperation> upload(const QMap<QString, QVariant>& cloudConfig, const QString& cloudPath,
                                      const QMap<QString, QVariant>& metadata, QIODevice* device);
    QSharedPointer<IOperation> uploadEmptyFolder(const QMap<QString, QVariant>& cloudConfig,
                                                 const QString& cloudPath);
    // On success the operation's cloudConfig() is the configuration as the storage completed it.
    QSharedPointer<IOperation> checkConfig(const QMap<QString, QVariant>& cloudConfig);
    // One page; empty prefix, marker and delimiter are valid.
    QSharedPointer<IOperation> listing(const QMap<QString, QVariant>& cloudConfig, const QString& prefix,
                                       const QString& marker, const QString& delimiter, quint16 maxCount);
    QSharedPointer<IOperation> listContainers(const QMap<QString, QVariant>& cloudConfig);
    // params as the cloud family's ContainerParams class reads them; may be empty.
    QSharedPointer<IOperation> createContainer(const QMap<QString, QVariant>& cloudConfig,
                                               const QJsonObject& params);
    // cloudObject and each element of cloudObjects are listing objects; neither may be empty.
    QSharedPointer<IOperation> deleteOnce(const QMap<QString, QVariant>& cloudConfig,
                                          const QJsonObject& cloudObject);
    QSharedPointer<IOperation> multipleDelete(const QMap<QString, QVariant>& cloudConfig,
                                              const QJsonArray& cloudObjects);
    // expires must be valid and not in the past (the current second counts as valid).
    QSharedPointer<IOperation> signUrl(const QMap<QString, QVariant>& cloudConfig, const QString& path,
                                       bool useSsl, const QDateTime& expires);

    // Multipart upload and downloads. Each function checks its input, makes the operation,
    // registers it and returns it unstarted (call exec()); on bad input it returns null and
    // logs why. Devices stay the caller's and must outlive the operation. Ranges are the first
    // offset and the count of bytes less one.
    //
    // uploadMultipart: a non-empty uploadInfo (from UploadMultipart::updateUploadInfo) continues
    // that upload. Needs a readable device.
    QSharedPointer<IOperation> uploadMultipart(const QMap<QString, QVariant>& cloudConfig,
                                               const QString& cloudPath,
                                               const QMap<QString, QVariant>& metadata, QIODevice* device,
                                               const QByteArray& uploadInfo);
    // The whole object into a writable device.
    QSharedPointer<IOperation> download2Stream(const QMap<QString, QVariant>& cloudConfig,
                                               const QString& cloudPath, QIODevice* device);
    // A range into memory, bounded by the memory budget.
    QSharedPointer<IOperation> downloadBlob(const QMap<QString, QVariant>& cloudConfig,
                                            const QString& cloudPath, quint64 position, quint64 size);
    // A range into a writable device.
    QSharedPointer<IOperation> downloadBlob2Stream(const QMap<QString, QVariant>& cloudConfig,
                                                   const QString& cloudPath, quint64 position, quint64 size,
                                                   QIODevice* device);

    // Archive restore: start one, ask whether an object is ready, and say that the application
    // has read it. ArchiveQueryManager drives the first two for many paths.
    QSharedPointer<IOperation> archivePrepareForDownload(const QMap<QString, QVariant>& cloudConfig,
                                                         const QString& path, const QJsonObject& options);
    QSharedPointer<IOperation> archiveCheckReadyForDownload(const QMap<QString, QVariant>& cloudConfig,
                                                            const QString& path);
    QSharedPointer<IOperation> archiveFinalizeDownloaded(const QMap<QString, QVariant>& cloudConfig,
                                                         const QString& path);

    // Automatic transfers. Each function checks its input, makes the operation, registers it
    // and returns it unstarted (call exec()); on bad input it returns null and logs why.
    //
    // uploadAuto: one request or multipart, as the storage, the source's length and "ChunkSize"
    // decide. Needs a readable device. It never continues an earlier multipart upload.
    QSharedPointer<IOperation> uploadAuto(const QMap<QString, QVariant>& cloudConfig,
                                          const QString& cloudPath, const QMap<QString, QVariant>& metadata,
                                          QIODevice* device);
    // From position, size bytes (0: to the object's end) into a writable device, continued by
    // ranged requests from where the device stands after a broken or short transfer. With
    // useRange the first request is ranged too.
    QSharedPointer<IOperation> DownloadAuto2Stream(const QMap<QString, QVariant>& cloudConfig,
                                                   const QString& cloudPath, QIODevice* device, bool useRange,
                                                   quint64 size, quint64 position);
    // Copies in (readable) into out (writable) on a task thread, size bytes per read.
    QSharedPointer<IOperation> streamTransformation(QIODevice* in, QIODevice* out, qint64 size);

private:
    OperationManager();
    ~OperationManager();
    OperationManager(const OperationManager&) = delete;
    OperationManager& operator=(const OperationManager&) = delete;

    void stopForgotten();
    // Wraps a newly made operation and enters it in the registry.
    QSharedPointer<IOperation> adopt(IOperation* operation);
    void commandStopThread();
    void joinThread();

    std::vector<std::unique_ptr<OperationTask>> m_tasks;
    std::vector<std::unique_ptr<OperationJob>> m_jobs;
    std::unique_ptr<nn::socket> m_workerSocket;
    std::unique_ptr<nn::socket> m_taskSocket;
    std::unique_ptr<nn::socket> m_taskSender;
    std::unique_ptr<nn::socket> m_commandSocket;
    QMutex m_commandMutex;
    // Guards m_taskSender: exec() may run on any client thread while stop() closes it.
    QMutex m_taskSenderMutex;
    QMutex m_operationsMutex;
    QMap<QUuid, QSharedPointer<IOperation>> m_operations;
    bool m_initialised = false;
    bool m_stopped = false;

    static std::atomic<int> s_threadCount;
    static std::atomic<quint64> s_memoryUsed;
};

} // namespace Norvik::Cloud
