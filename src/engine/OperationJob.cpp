#include "engine/OperationJob.h"

#include "engine/Command.h"
#include "engine/JobFormat.h"
#include "engine/OperationManager.h"
#include "engine/SocketMessage.h"

#include "connection/CloudError.h"
#include "connection/CloudFactory.h"
#include "connection/Exception.h"
#include "connection/IConnection.h"
#include "info/Config.h"

#include <NorvikCore/NorvikDebug.h>

#include <nanomsg/pubsub.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QObject>
#include <QVariantMap>

// Headers that declare the job functions, one line each.
#include "operations/AmazonDeleteLifecyclePolicy.h"
#include "operations/AmazonLoadLifecyclePolicy.h"
#include "operations/AmazonSaveLifecyclePolicy.h"
#include "operations/ArchiveCheckReadyForDownload.h"
#include "operations/ArchiveFinalizeDownloaded.h"
#include "operations/ArchivePrepareForDownload.h"
#include "operations/CheckConfig.h"
#include "operations/CreateContainer.h"
#include "operations/DeleteOnce.h"
#include "operations/Download2Stream.h"
#include "operations/DownloadBlob.h"
#include "operations/DownloadBlob2Stream.h"
#include "operations/ListContainers.h"
#include "operations/Listing.h"
#include "operations/MultipleDelete.h"
#include "operations/SignUrl.h"
#include "operations/UploadEmptyFolder.h"
#include "operations/UploadMultipart.h"
#include "operations/UploadOnce.h"

namespace Norvik::Cloud {

namespace {

const char* const ClassName = "OperationJob";
constexpr int PollTimeoutMs = 100;

// The keys are QString constants that other files initialise at load time, so the table is
// built on its first use rather than at load.
QMap<QString, OperationJob::Function>& jobFunctionTable()
{
    static QMap<QString, OperationJob::Function> table = {
        // One row per job type, e.g. {JobFormat::UploadOnce::Type, &uploadOnce},
        // kept in this order of types: CheckConfig, upload_once, upload_empty_folder,
        // UploadMultipartBegin, UploadMultipartEnd, UploadMultipartListParts, UploadMultipartPart,
        // Download2Stream, DownloadBlob, DownloadBlob2Stream, list_containers, listing,
        // delete_once, multiple_delete, archive_PrepareForDownload, archive_CheckReadyForDownload,
        // archive_FinalizeDownloaded, create_container, Amazon_LifecyclePolicy_Load,
        // Amazon_LifecyclePolicy_Save, Amazon_LifecyclePolicy_Delete, sign_url.
        // --- job function rows begin ---
        {JobFormat::CheckConfig::Type, &checkConfig},
        {JobFormat::UploadOnce::Type, &uploadOnce},
        {JobFormat::UploadEmptyFolder::Type, &uploadEmptyFolder},
        {JobFormat::UploadMultipart::Begin::Type, &uploadMultipartBegin},
        {JobFormat::UploadMultipart::End::Type, &uploadMultipartEnd},
        {JobFormat::UploadMultipart::ListParts::Type, &uploadMultipartParts},
        {JobFormat::UploadMultipart::Part::Type, &uploadPart},
        {JobFormat::Download::ToStream::Type, &download2Stream},
        {JobFormat::Download::Blob::Type, &downloadBlob},
        {JobFormat::Download::Blob2Stream::Type, &downloadBlob2Stream},
        {JobFormat::ListContainers::Type, &listContainers},
        {JobFormat::Listing::Type, &listing},
        {JobFormat::DeleteOnce::Type, &deleteOnce},
        {JobFormat::MultipleDelete::Type, &multipleDelete},
        {JobFormat::Archive::PrepareForDownload::Type, &ArchivePrepareForDownload},
        {JobFormat::Archive::CheckReadyForDownload::Type, &ArchiveCheckReadyForDownload},
        {JobFormat::Archive::FinalizeDownloaded::Type, &ArchiveFinalizeDownloaded},
        {JobFormat::CreateContainer::Type, &createContainer},
        {JobFormat::Amazon::LifecyclePolicy::Load::Type, &Amazon::loadLifecyclePolicy},
        {JobFormat::Amazon::LifecyclePolicy::Save::Type, &Amazon::saveLifecyclePolicy},
        {JobFormat::Amazon::LifecyclePolicy::Delete::Type, &Amazon::deleteLifecyclePolicy},
        {JobFormat::SignUrl::Type, &signUrl},
        // --- job function rows end ---
    };
    return table;
}

namespace Exception = Api::Exception;

void writeFailure(QJsonObject& job, int code, const QString& message)
{
    job.insert(JobFormat::Result::ErrorMessage, message);
    job.insert(JobFormat::Result::ErrorCode, code);
}

void logBody(const QByteArray& body)
{
    NorvikDebug("NKC").infoH() << QString::fromUtf8(body);
}

enum class Record
{
    Omit,
    Write,
};

// A failure that the service reported, with its response body in the log.
void writeServiceFailure(QJsonObject& job, const char* label, const Exception::Operation& e, int code,
                         Record record = Record::Omit)
{
    NorvikDebug("NKC").warning() << label << e.message();
    logBody(e.data());
    writeFailure(job, code, e.message());
    if (record == Record::Write && e.cloudError())
        job.insert(JobFormat::Result::CloudError, QString::fromUtf8(e.cloudError()->toByteArray()));
}

// A failure of this side: the network, the library or the local files.
void writeLocalFailure(QJsonObject& job, const char* label, const Exception::Base& e, int code)
{
    NorvikDebug("NKC").warning() << label << e.message();
    writeFailure(job, code, e.message());
}

// The code of each missing capability; a type outside the list leaves no code.
void writePermissionFailure(QJsonObject& job, const Exception::PermissionError& e)
{
    NorvikDebug("NKC").warning() << "Cloud operation error (PermissionError)";
    job.insert(JobFormat::Result::ErrorMessage, QStringLiteral("Permission error"));
    switch (e.type()) {
    case Exception::PermissionError::ReadAndList:
        job.insert(JobFormat::Result::ErrorCode, OperationJob::ErrorPermissionReadAndList);
        break;
    case Exception::PermissionError::Write:
        job.insert(JobFormat::Result::ErrorCode, OperationJob::ErrorPermissionWrite);
        break;
    case Exception::PermissionError::ListFiles:
        job.insert(JobFormat::Result::ErrorCode, OperationJob::ErrorPermissionListFiles);
        break;
    case Exception::PermissionError::Delete:
        job.insert(JobFormat::Result::ErrorCode, OperationJob::ErrorPermissionDelete);
        break;
    }
}

} // namespace

const QMap<QString, OperationJob::Function>& OperationJob::JobFunction()
{
    return jobFunctionTable();
}

void OperationJob::addJobFunction(const QString& type, Function function)
{
    jobFunctionTable().insert(type, function);
}

QJsonDocument OperationJob::exec(Api::IConnection* connection, const QJsonDocument& document)
{
    if (!connection || document.isNull() || !document.isObject())
        return QJsonDocument();
    QJsonObject job = document.object();
    const QString type = job.value(JobFormat::Type).toString();

    // A class is caught by its own handler where it has one, otherwise by the first handler of
    // a base class: the order of the handlers is the map from classes to codes.
    try {
        const auto function = JobFunction().constFind(type);
        if (function != JobFunction().constEnd())
            return (*function)(connection, job);
        NorvikDebug("NKC").warning() << "Operation type don't support" << type;
        job.insert(JobFormat::Result::ErrorMessage, QStringLiteral("Operation type don't support"));
    } catch (const Exception::BadRequest& e) {
        writeServiceFailure(job, "Cloud operation error (BadRequest):", e, ErrorInvalidRequest);
    } catch (const Exception::ContainerDoesNotExist& e) {
        writeServiceFailure(job, "Cloud operation error (ContainerDoesNotExist):", e, ErrorContainer);
    } catch (const Exception::InvalidArgument& e) {
        writeServiceFailure(job, "Cloud operation error (InvalidArgument):", e, ErrorInvalidRequest);
    } catch (const Exception::InvalidResourceName& e) {
        writeServiceFailure(job, "Cloud operation error (InvalidResourceName):", e, ErrorInvalidRequest);
    } catch (const Exception::InvalidContainerName& e) {
        writeServiceFailure(job, "Cloud operation error (InvalidContainerName):", e, ErrorContainer);
    } catch (const Exception::InvalidData& e) {
        writeServiceFailure(job, "Cloud operation error (InvalidData):", e, ErrorInvalidRequest);
    } catch (const Exception::SignatureDoesNotMatch& e) {
        writeServiceFailure(job, "Cloud operation error (SignatureDoesNotMatch):", e, ErrorAuthorization);
    } catch (const Exception::UnsupportedOperation& e) {
        writeServiceFailure(job, "Cloud operation error (UnsupportedOperation):", e,
                            ErrorUnsupportedOperation);
    } catch (const Exception::WrongAutorizationType& e) {
        writeServiceFailure(job, "Cloud operation error (WrongAutorizationType):", e, ErrorAuthorization);
    } catch (const Exception::InvalidObjectState& e) {
        writeServiceFailure(job, "Cloud operation error (InvalidObjectState):", e, ErrorInvalidObjectState);
    } catch (const Exception::NoContent& e) {
        // Usually a plain 404 without a body: nothing worth a log line.
        NorvikDebug("NKC").warning() << "Cloud operation error (NoContent):" << e.message();
        if (!e.data().isEmpty())
            logBody(e.data());
        writeFailure(job, ErrorNotFound, e.message());
    } catch (const Exception::NotSupportedStorageClass& e) {
        writeServiceFailure(job, "Cloud operation error (NotSupportedStorageClass):", e,
                            ErrorNotSupportedStorageClass);
    } catch (const Exception::DataWritingError& e) {
        writeLocalFailure(job, "Cloud operation error (DataWritingError):", e, ErrorDataWriting);
    } catch (const Exception::InvalidAutorizationAccount& e) {
        writeServiceFailure(job, "Cloud operation error (InvalidAutorizationAccount):", e,
                            ErrorAuthorization);
    } catch (const Exception::ComputerClockIsNotSynchronize& e) {
        writeServiceFailure(job, "Cloud operation error (ComputerClockIsNotSynchronize):", e,
                            ErrorWithCloudError, Record::Write);
    } catch (const Exception::S3TransferAccelerationError& e) {
        writeServiceFailure(job, "Cloud operation error (S3TransferAccelerationError):", e,
                            ErrorWithCloudError, Record::Write);
    } catch (const Exception::BackBlaze::FileNotPresent& e) {
        writeServiceFailure(job, "Cloud operation error (BackBlaze::FileNotPresent):", e, ErrorNotFound,
                            Record::Write);
    } catch (const Exception::PathContainsIllegalSymbols& e) {
        writeServiceFailure(job, "Cloud operation error (PathContainsIllegalSymbols):", e,
                            ErrorWithCloudError, Record::Write);
    } catch (const Exception::CreateDestinationFileError& e) {
        {
            NorvikDebug::Line line = NorvikDebug("NKC").warning();
            line << "Cloud operation error (CreateDestinationFileError):" << e.message();
            if (!e.path().isEmpty())
                line << "Path:" << e.path();
        }
        logBody(e.data());
        writeFailure(job, ErrorDestinationFile, e.message());
    } catch (const Exception::PermissionError& e) {
        writePermissionFailure(job, e);
    } catch (const Exception::AllAccessDisabled& e) {
        writeServiceFailure(job, "Cloud operation error (AllAccessDisabled):", e, ErrorAllAccessDisabled);
    } catch (const Exception::NotImplemented& e) {
        writeServiceFailure(job, "Cloud operation error (NotImplemented):", e, ErrorInvalidRequest);
    } catch (const Exception::Operation& e) {
        writeServiceFailure(job, "Cloud operation error (Operation):", e, ErrorCloudOperation);
    } catch (const Exception::Unknown& e) {
        writeLocalFailure(job, "Cloud operation error (Unknown):", e, ErrorUnknown);
    } catch (const Exception::SslProblem& e) {
        writeLocalFailure(job, "Ssl problem:", e, ErrorSsl);
    } catch (const Exception::Terminated& e) {
        writeLocalFailure(job, "Abort exception:", e, ErrorTerminated);
    } catch (const Exception::Network& e) {
        writeLocalFailure(job, "Network problem:", e, ErrorNetwork);
    } catch (const Exception::InternalError& e) {
        writeLocalFailure(job, "Exception internal error:", e, ErrorInternal);
    } catch (const Exception::FileNotFound& e) {
        writeLocalFailure(job, "Destination file or directory problem:", e, ErrorNotFound);
    } catch (const Exception::Base& e) {
        writeLocalFailure(job, "Base exception:", e, ErrorUnknown);
    } catch (const std::exception& e) {
        NorvikDebug("NKC").warning() << "exception!" << e.what();
        writeFailure(job, ErrorUnknown, QString::fromUtf8(e.what()));
    } catch (...) {
        NorvikDebug("NKC").warning() << "exception!";
        writeFailure(job, ErrorUnknown, QObject::tr("Unknown error"));
    }
    job.insert(JobFormat::Result::Status::Key, JobFormat::Result::Status::Value::Error);
    return QJsonDocument(job);
}

OperationJob::OperationJob(nn::socket* workerSocket)
    : m_workerSocket(workerSocket)
{
}

OperationJob::~OperationJob() = default;

void OperationJob::closeSockets()
{
    m_subscriber.reset();
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
    m_subscriber = std::make_unique<nn::socket>(AF_SP, NN_SUB);
    nn::socket& subscriber = *m_subscriber;
    subscriber.connect(OperationManager::COMMAND_ADDRESS);
    // Everything: nanomsg filters topics only when a message is taken, so a narrower
    // subscription would still wake the poll for every result, and the blocking receive of a
    // command could then wait behind a message it discards.
    subscriber.setsockopt(NN_SUB, NN_SUB_SUBSCRIBE, "", 0);
    NorvikDebug("NKC").info() << "Worker stated:" << id().toString();
    // Kept across jobs while they carry the same "CloudId"; ended with the thread, also when
    // the thread ends by an exception.
    std::unique_ptr<Api::IConnection> connection;

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
            runJob(message, connection);
    }
    NorvikDebug("NKC").info() << "Stop command: worker" << id().toString();
}

void OperationJob::runJob(const QByteArray& message, std::unique_ptr<Api::IConnection>& connection)
{
    const QJsonDocument job = QJsonDocument::fromBinaryData(message, QJsonDocument::Validate);
    if (job.isNull() || !job.isObject()) {
        NorvikDebug("NKC").warning() << ClassName << ": unknown operation job format";
        return;
    }
    NorvikDebug("NKC").debug() << ClassName << "[" << id().toString() << "]";
    const QVariantMap config = job.object().toVariantMap();
    const QUuid taskId = config.value(JobFormat::TaskId).toUuid();

    // Only the id is compared: a changed configuration must come with a new "CloudId".
    if (connection && config.value(Config::Id).toUuid() != connection->id())
        connection.reset();
    if (!connection) {
        NorvikDebug("NKC").debug() << "Create cloud API...";
        // A plug-in that cannot be loaded throws from here and ends this thread.
        connection.reset(Api::CloudFactory::create(config));
    }
    if (connection) {
        NorvikDebug("NKC").debug() << "Do exec...";
        OperationManager::instance().sendOperationResult(taskId, exec(connection.get(), job));
        return;
    }
    // The configuration was refused, so the job goes back as its own result. It carries no
    // "status", which every operation reads as a failure with code 0 and empty texts.
    OperationManager::instance().sendOperationResult(taskId, job);
}

} // namespace Norvik::Cloud
