#include "connection/OperationException.h"

#include "connection/AmazonCloudError.h"

#include <QObject>

namespace Norvik::Cloud::Api::Exception {

Operation::Operation(int code, const QByteArray& data, const QString& message, bool retry)
    : Base(message, retry)
    , m_data(data)
    , m_code(code)
{
}

Operation::~Operation() = default;

void Operation::setCloudError(const QSharedPointer<Error::CloudErrorBase>& cloudError)
{
    m_cloudError = cloudError;
}

InvalidData::InvalidData(const QByteArray& data)
    : Operation(200, data, QObject::tr("Invalid data format"), false)
{
}

InvalidData::~InvalidData() = default;

NoContent::NoContent()
    : Operation(204, QByteArray(), QObject::tr("No Content"), false)
{
}

NoContent::NoContent(int code, const QByteArray& data, const QString& message)
    : Operation(code, data, message, false)
{
}

NoContent::~NoContent() = default;

UnsupportedOperation::UnsupportedOperation()
    : Operation(0, QByteArray(), QObject::tr("Operation is not supported in this cloud"), false)
{
}

UnsupportedOperation::UnsupportedOperation(const QString& message)
    : Operation(0, QByteArray(), message, false)
{
}

UnsupportedOperation::~UnsupportedOperation() = default;

InvalidArgument::InvalidArgument(const QByteArray& data, const QString& message, const QString& argument)
    : Operation(400, data, message, false)
    , m_argument(argument)
{
}

InvalidArgument::~InvalidArgument() = default;

InvalidContainerName::InvalidContainerName(const QByteArray& data, const QString& message,
                                           const QString& name)
    : Operation(400, data, message, false)
    , m_name(name)
{
}

InvalidContainerName::~InvalidContainerName() = default;

WrongRegion::WrongRegion(const QByteArray& data, const QString& message, const QString& region)
    : Operation(400, data, message, false)
    , m_region(region)
{
}

WrongRegion::~WrongRegion() = default;

TemporaryRedirect::TemporaryRedirect(const QByteArray& data, const QString& message, const QUrl& endpoint,
                                     const QMap<QByteArray, QByteArray>& headers)
    : Operation(307, data, message, false)
    , m_endpoint(endpoint)
    , m_headers(headers)
{
}

TemporaryRedirect::~TemporaryRedirect() = default;

MovedPermanently::MovedPermanently(const QByteArray& data, const QString& message, const QUrl& endpoint)
    : Operation(301, data, message, false)
    , m_endpoint(endpoint)
{
}

MovedPermanently::~MovedPermanently() = default;

ComputerClockIsNotSynchronize::ComputerClockIsNotSynchronize(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
    setCloudError(Error::Amazon::RequestTimeTooSkewed::fromResponse(data));
}

ComputerClockIsNotSynchronize::~ComputerClockIsNotSynchronize() = default;

S3TransferAccelerationError::S3TransferAccelerationError(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
    setCloudError(Error::Amazon::S3TransferAcceleration::fromResponse(data));
}

S3TransferAccelerationError::~S3TransferAccelerationError() = default;

CreateDestinationFileError::CreateDestinationFileError(const QByteArray& data, const QString& message,
                                                       const QString& path)
    : Operation(403, data, message, false)
    , m_path(path)
{
}

CreateDestinationFileError::~CreateDestinationFileError() = default;

DownloadDataError::DownloadDataError()
    : Operation(0, QByteArray(), QObject::tr("Unknown error on download data"), false)
{
}

DownloadDataError::DownloadDataError(const QString& message)
    : Operation(0, QByteArray(), message, false)
{
}

DownloadDataError::DownloadDataError(const QByteArray& data, const QString& message)
    : Operation(0, data, message, false)
{
}

DownloadDataError::DownloadDataError(int code, const QByteArray& data, const QString& message)
    : Operation(code, data, message, false)
{
}

DownloadDataError::~DownloadDataError() = default;

PermissionError::PermissionError(Type type)
    : Operation(401, QByteArray(), QString(), false)
    , m_type(type)
{
}

PermissionError::~PermissionError() = default;

ResumeIncomplete::ResumeIncomplete(const QByteArray& range, const QByteArray& hash)
    : Operation(308, QByteArray(), QString(), false)
    , m_range(range)
    , m_hash(hash)
{
}

ResumeIncomplete::~ResumeIncomplete() = default;

AutorizationResult::AutorizationResult(const QMap<QByteArray, QByteArray>& headers)
    : Operation(204, QByteArray(), QObject::tr("OpenStack autorization result"), false)
{
    // Keystone v3 answers with "x-subject-token", the legacy exchange with "x-auth-token".
    m_token = headers.value(QByteArrayLiteral("x-subject-token"));
    if (m_token.isEmpty())
        m_token = headers.value(QByteArrayLiteral("x-auth-token"));

    QByteArray storageUrl = headers.value(QByteArrayLiteral("x-storage-url"));
    if (!storageUrl.isEmpty()) {
        // Relative paths are resolved against it, which needs the trailing slash.
        if (!storageUrl.endsWith('/'))
            storageUrl.append('/');
        m_endpoint = QUrl::fromEncoded(storageUrl);
    }
}

AutorizationResult::~AutorizationResult() = default;

WrongAutorizationType::WrongAutorizationType(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

WrongAutorizationType::~WrongAutorizationType() = default;

ContainerDoesNotExist::ContainerDoesNotExist(const QByteArray& data, const QString& message)
    : Operation(404, data, message, false)
{
}

ContainerDoesNotExist::~ContainerDoesNotExist() = default;

SignatureDoesNotMatch::SignatureDoesNotMatch(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
}

SignatureDoesNotMatch::~SignatureDoesNotMatch() = default;

BadRequest::BadRequest(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

BadRequest::~BadRequest() = default;

InvalidAutorizationAccount::InvalidAutorizationAccount(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
}

InvalidAutorizationAccount::~InvalidAutorizationAccount() = default;

PathContainsIllegalSymbols::PathContainsIllegalSymbols(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

PathContainsIllegalSymbols::~PathContainsIllegalSymbols() = default;

ContentSHA256Mismatch::ContentSHA256Mismatch(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

ContentSHA256Mismatch::~ContentSHA256Mismatch() = default;

RequestTimeout::RequestTimeout(const QByteArray& data, const QString& message)
    : Operation(400, data, message, true)
{
}

RequestTimeout::~RequestTimeout() = default;

AccessDenied::AccessDenied(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
}

AccessDenied::~AccessDenied() = default;

CreateContainerError::CreateContainerError(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
}

CreateContainerError::~CreateContainerError() = default;

InvalidObjectName::InvalidObjectName(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

InvalidObjectName::~InvalidObjectName() = default;

CreateObjectError::CreateObjectError(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

CreateObjectError::~CreateObjectError() = default;

InvalidObjectState::InvalidObjectState(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
}

InvalidObjectState::~InvalidObjectState() = default;

AllAccessDisabled::AllAccessDisabled(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
}

AllAccessDisabled::~AllAccessDisabled() = default;

ArchiveRestoreAlreadyInProgress::ArchiveRestoreAlreadyInProgress(const QByteArray& data,
                                                                 const QString& message)
    : Operation(409, data, message, false)
{
}

ArchiveRestoreAlreadyInProgress::~ArchiveRestoreAlreadyInProgress() = default;

ArchiveNotAvailable::ArchiveNotAvailable(const QByteArray& data, const QString& message)
    : Operation(503, data, message, true)
{
}

ArchiveNotAvailable::~ArchiveNotAvailable() = default;

ArchiveInvalidTier::ArchiveInvalidTier(const QByteArray& data, const QString& message)
    : Operation(403, data, message, true)
{
}

ArchiveInvalidTier::~ArchiveInvalidTier() = default;

NotSupportedStorageClass::NotSupportedStorageClass(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

NotSupportedStorageClass::~NotSupportedStorageClass() = default;

InvalidResourceName::InvalidResourceName(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

InvalidResourceName::~InvalidResourceName() = default;

MultipartUploadError::MultipartUploadError(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

MultipartUploadError::~MultipartUploadError() = default;

MultipartInvalidUploadId::MultipartInvalidUploadId(const QByteArray& data, const QString& message)
    : Operation(404, data, message, false)
{
}

MultipartInvalidUploadId::~MultipartInvalidUploadId() = default;

InvalidRequest::InvalidRequest(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

InvalidRequest::~InvalidRequest() = default;

TemporarilyUnavailable::TemporarilyUnavailable(const QByteArray& data, const QString& message)
    : Operation(503, data, message, true)
{
}

TemporarilyUnavailable::~TemporarilyUnavailable() = default;

NotImplemented::NotImplemented(const QByteArray& data, const QString& message)
    : Operation(501, data, message, false)
{
}

NotImplemented::~NotImplemented() = default;

NoSuchLifecycleConfiguration::NoSuchLifecycleConfiguration(const QByteArray& data, const QString& message)
    : Operation(404, data, message, false)
{
}

NoSuchLifecycleConfiguration::~NoSuchLifecycleConfiguration() = default;

SlowDown::SlowDown(const QByteArray& data, const QString& message)
    : TemporarilyUnavailable(data, message)
{
}

SlowDown::~SlowDown() = default;

} // namespace Norvik::Cloud::Api::Exception
