#pragma once

#include "engine/EngineThread.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QUuid>

#include <memory>

namespace nn {
class socket;
}

namespace Norvik::Cloud {

namespace Api {
class IConnection;
}

// A job thread: takes any job document from the shared worker socket, runs it on the
// connection it keeps and publishes the result to the task thread named by the job's
// "task_id". The connection is made from the job's configuration and kept for as long as
// consecutive jobs carry the same "CloudId".
class OperationJob : public EngineThread
{
public:
    // Runs one job type on a connection. Returns the result document: the job object with the
    // result keys added. Failures may be thrown as members of Api::Exception; exec() turns
    // them into results.
    using Function = QJsonDocument (*)(Api::IConnection* connection, const QJsonObject& job);

    // The "ErrorCode" of a failed result, as clients read it from errorCode(). The numbers are
    // the contract with clients; the numbers missing here have no meaning. A result without
    // "ErrorCode" reads as 0.
    enum ErrorCode : int
    {
        ErrorUnknown = 1,
        ErrorCloudOperation = 2, // the service refused, with no finer class
        ErrorInternal = 3,
        ErrorNetwork = 4,
        ErrorSsl = 5,
        ErrorContainer = 6, // missing or unacceptable bucket or container
        ErrorInvalidRequest = 7,
        ErrorUnsupportedOperation = 8,
        ErrorAuthorization = 9,
        ErrorAllAccessDisabled = 10,
        ErrorNotFound = 13,
        ErrorDestinationFile = 14,
        ErrorStreamTransformation = 15,
        ErrorInvalidObjectState = 18,
        ErrorNotSupportedStorageClass = 20,
        ErrorTerminated = 21,
        ErrorDataWriting = 23,
        ErrorPermissionReadAndList = 24,
        ErrorPermissionWrite = 25,
        ErrorPermissionListFiles = 26,
        ErrorPermissionDelete = 27,
        ErrorWithCloudError = 29, // always comes with a "CloudError" record
    };

    explicit OperationJob(nn::socket* workerSocket);
    ~OperationJob() override;

    // The job function of every job type. Built on first use, then constant.
    static const QMap<QString, Function>& JobFunction();

    // The boundary between connections and results: runs the job function of the job's
    // "type" once and returns its result unchanged. Any exception the function lets through,
    // and an unknown type, give the job object with "status" "Error", "ErrorMessage" and, by
    // the class of the exception, "ErrorCode" and "CloudError". An empty document for a null
    // connection or a job that is no object. Never throws, except from the logging itself.
    static QJsonDocument exec(Api::IConnection* connection, const QJsonDocument& job);

    // For tests only: adds or replaces the function of a job type. Not synchronised with the
    // job threads: call it before any job is sent.
    static void addJobFunction(const QString& type, Function function);

    void closeSockets() override;

protected:
    void run() override;

private:
    void loop();
    void runJob(const QByteArray& message, std::unique_ptr<Api::IConnection>& connection);

    nn::socket* const m_workerSocket;
    // Made and used by the thread alone; closed after every thread has ended.
    std::unique_ptr<nn::socket> m_subscriber;
};

} // namespace Norvik::Cloud
