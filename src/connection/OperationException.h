#pragma once

#include "connection/ExceptionBase.h"

#include <QByteArray>
#include <QMap>
#include <QSharedPointer>
#include <QUrl>

namespace Norvik::Cloud::Error {
class CloudErrorBase;
}

namespace Norvik::Cloud::Api::Exception {

// A failure that the service reported. code() is the HTTP status (fixed by each subclass),
// data() the response body, and cloudError() the structured record for the classes whose
// failure a client acts upon.
class Operation : public Base
{
public:
    Operation(int code, const QByteArray& data, const QString& message, bool retry);
    ~Operation() override;

    const QByteArray& data() const { return m_data; }
    int code() const { return m_code; }
    const QSharedPointer<Error::CloudErrorBase>& cloudError() const { return m_cloudError; }

protected:
    void setCloudError(const QSharedPointer<Error::CloudErrorBase>& cloudError);

private:
    QByteArray m_data;
    int m_code;
    QSharedPointer<Error::CloudErrorBase> m_cloudError;
};

// An answer arrived but could not be read. The status is that of the successful request.
class InvalidData : public Operation
{
public:
    explicit InvalidData(const QByteArray& data);
    ~InvalidData() override;
};

// The object is not there (a 404 without a body, or an empty answer). A DELETE that gets it
// has nothing left to do, so callers there treat it as success.
class NoContent : public Operation
{
public:
    NoContent();
    NoContent(int code, const QByteArray& data, const QString& message);
    ~NoContent() override;
};

// This connection has no such operation.
class UnsupportedOperation : public Operation
{
public:
    UnsupportedOperation();
    explicit UnsupportedOperation(const QString& message);
    ~UnsupportedOperation() override;
};

// A request argument was refused; argument() names it when the service did.
class InvalidArgument : public Operation
{
public:
    InvalidArgument(const QByteArray& data, const QString& message, const QString& argument);
    ~InvalidArgument() override;

    const QString& argument() const { return m_argument; }

private:
    QString m_argument;
};

class InvalidContainerName : public Operation
{
public:
    InvalidContainerName(const QByteArray& data, const QString& message, const QString& name);
    ~InvalidContainerName() override;

    const QString& name() const { return m_name; }

private:
    QString m_name;
};

// The bucket lives in another region; region() is the right one when the service said it.
class WrongRegion : public Operation
{
public:
    WrongRegion(const QByteArray& data, const QString& message, const QString& region);
    ~WrongRegion() override;

    const QString& region() const { return m_region; }

private:
    QString m_region;
};

// The service points at another endpoint for now; the response headers may name the region.
class TemporaryRedirect : public Operation
{
public:
    TemporaryRedirect(const QByteArray& data, const QString& message, const QUrl& endpoint,
                      const QMap<QByteArray, QByteArray>& headers);
    ~TemporaryRedirect() override;

    const QUrl& endpoint() const { return m_endpoint; }
    const QMap<QByteArray, QByteArray>& headers() const { return m_headers; }

private:
    QUrl m_endpoint;
    QMap<QByteArray, QByteArray> m_headers;
};

class MovedPermanently : public Operation
{
public:
    MovedPermanently(const QByteArray& data, const QString& message, const QUrl& endpoint);
    ~MovedPermanently() override;

    const QUrl& endpoint() const { return m_endpoint; }

private:
    QUrl m_endpoint;
};

// The local clock is too far from the service's. Carries the two times as a cloud error
// record when the body holds them.
class ComputerClockIsNotSynchronize : public Operation
{
public:
    ComputerClockIsNotSynchronize(const QByteArray& data, const QString& message);
    ~ComputerClockIsNotSynchronize() override;
};

// Transfer acceleration is not available; carries a cloud error record when the body says so.
class S3TransferAccelerationError : public Operation
{
public:
    S3TransferAccelerationError(const QByteArray& data, const QString& message);
    ~S3TransferAccelerationError() override;
};

// A local file or folder for downloaded data could not be made.
class CreateDestinationFileError : public Operation
{
public:
    CreateDestinationFileError(const QByteArray& data, const QString& message, const QString& path);
    ~CreateDestinationFileError() override;

    const QString& path() const { return m_path; }

private:
    QString m_path;
};

// A download broke off or delivered other data than asked for. The status is 0 unless given.
class DownloadDataError : public Operation
{
public:
    DownloadDataError();
    explicit DownloadDataError(const QString& message);
    DownloadDataError(const QByteArray& data, const QString& message);
    DownloadDataError(int code, const QByteArray& data, const QString& message);
    ~DownloadDataError() override;
};

// The key lacks a capability that the request needs.
class PermissionError : public Operation
{
public:
    // A fixed underlying type: a service may report a capability not listed here, and that
    // value must survive as it is.
    enum Type : int
    {
        ReadAndList = 0, // listing buckets, reading files, signing URLs
        Write = 1,       // creating buckets, starting uploads, getting upload URLs
        ListFiles = 2,   // listing the files of a bucket
        Delete = 3,      // deleting files
    };

    explicit PermissionError(Type type);
    ~PermissionError() override;

    Type type() const { return m_type; }

private:
    Type m_type;
};

// A resumable upload has not received all of its data yet: range() is what the service holds
// and hash() its checksum.
class ResumeIncomplete : public Operation
{
public:
    ResumeIncomplete(const QByteArray& range, const QByteArray& hash);
    ~ResumeIncomplete() override;

    const QByteArray& range() const { return m_range; }
    const QByteArray& hash() const { return m_hash; }

private:
    QByteArray m_range;
    QByteArray m_hash;
};

// Not a failure: the legacy OpenStack authorisation hands its token and storage address out of
// the transport this way, because its answer has no body.
class AutorizationResult : public Operation
{
public:
    explicit AutorizationResult(const QMap<QByteArray, QByteArray>& headers);
    ~AutorizationResult() override;

    const QByteArray& token() const { return m_token; }
    // The storage address, always ending in "/"; empty when the answer had none.
    const QUrl& endpoint() const { return m_endpoint; }

private:
    QByteArray m_token;
    QUrl m_endpoint;
};

// The service wants another signature version.
class WrongAutorizationType : public Operation
{
public:
    WrongAutorizationType(const QByteArray& data, const QString& message);
    ~WrongAutorizationType() override;
};

// The bucket or container is not there.
class ContainerDoesNotExist : public Operation
{
public:
    ContainerDoesNotExist(const QByteArray& data, const QString& message);
    ~ContainerDoesNotExist() override;
};

// The service computed another signature; request loops sign anew and repeat.
class SignatureDoesNotMatch : public Operation
{
public:
    SignatureDoesNotMatch(const QByteArray& data, const QString& message);
    ~SignatureDoesNotMatch() override;
};

// The service refused the request as malformed.
class BadRequest : public Operation
{
public:
    BadRequest(const QByteArray& data, const QString& message);
    ~BadRequest() override;
};

// The credentials are wrong or unknown to the service.
class InvalidAutorizationAccount : public Operation
{
public:
    InvalidAutorizationAccount(const QByteArray& data, const QString& message);
    ~InvalidAutorizationAccount() override;
};

// The object name holds characters that the service refuses.
class PathContainsIllegalSymbols : public Operation
{
public:
    PathContainsIllegalSymbols(const QByteArray& data, const QString& message);
    ~PathContainsIllegalSymbols() override;
};

// The payload hash sent does not match the data the service received.
class ContentSHA256Mismatch : public Operation
{
public:
    ContentSHA256Mismatch(const QByteArray& data, const QString& message);
    ~ContentSHA256Mismatch() override;
};

// The service closed an idle upload; sending it again usually works.
class RequestTimeout : public Operation
{
public:
    RequestTimeout(const QByteArray& data, const QString& message);
    ~RequestTimeout() override;
};

// The credentials lack the right for this request.
class AccessDenied : public Operation
{
public:
    AccessDenied(const QByteArray& data, const QString& message);
    ~AccessDenied() override;
};

// A container could not be created.
class CreateContainerError : public Operation
{
public:
    CreateContainerError(const QByteArray& data, const QString& message);
    ~CreateContainerError() override;
};

// The object name is not acceptable to the service.
class InvalidObjectName : public Operation
{
public:
    InvalidObjectName(const QByteArray& data, const QString& message);
    ~InvalidObjectName() override;
};

// An object could not be created.
class CreateObjectError : public Operation
{
public:
    CreateObjectError(const QByteArray& data, const QString& message);
    ~CreateObjectError() override;
};

// The object is in a state that forbids this request, such as an archive tier.
class InvalidObjectState : public Operation
{
public:
    InvalidObjectState(const QByteArray& data, const QString& message);
    ~InvalidObjectState() override;
};

// Every access to the bucket or account has been disabled.
class AllAccessDisabled : public Operation
{
public:
    AllAccessDisabled(const QByteArray& data, const QString& message);
    ~AllAccessDisabled() override;
};

// A restore from the archive tier is already running.
class ArchiveRestoreAlreadyInProgress : public Operation
{
public:
    ArchiveRestoreAlreadyInProgress(const QByteArray& data, const QString& message);
    ~ArchiveRestoreAlreadyInProgress() override;
};

// The archive tier cannot serve the restore now.
class ArchiveNotAvailable : public Operation
{
public:
    ArchiveNotAvailable(const QByteArray& data, const QString& message);
    ~ArchiveNotAvailable() override;
};

// The retrieval option does not fit the object's storage class.
class ArchiveInvalidTier : public Operation
{
public:
    ArchiveInvalidTier(const QByteArray& data, const QString& message);
    ~ArchiveInvalidTier() override;
};

// The storage class or access tier is not offered for this account.
class NotSupportedStorageClass : public Operation
{
public:
    NotSupportedStorageClass(const QByteArray& data, const QString& message);
    ~NotSupportedStorageClass() override;
};

// A resource name is not acceptable to the service.
class InvalidResourceName : public Operation
{
public:
    InvalidResourceName(const QByteArray& data, const QString& message);
    ~InvalidResourceName() override;
};

// The parts of a multipart upload do not add up to an object.
class MultipartUploadError : public Operation
{
public:
    MultipartUploadError(const QByteArray& data, const QString& message);
    ~MultipartUploadError() override;
};

// The multipart upload is unknown, aborted or already completed.
class MultipartInvalidUploadId : public Operation
{
public:
    MultipartInvalidUploadId(const QByteArray& data, const QString& message);
    ~MultipartInvalidUploadId() override;
};

// The service refused the request for a reason it named.
class InvalidRequest : public Operation
{
public:
    InvalidRequest(const QByteArray& data, const QString& message);
    ~InvalidRequest() override;
};

// The service is overloaded or briefly down; request loops wait and repeat.
class TemporarilyUnavailable : public Operation
{
public:
    TemporarilyUnavailable(const QByteArray& data, const QString& message);
    ~TemporarilyUnavailable() override;
};

// The service does not implement this request.
class NotImplemented : public Operation
{
public:
    NotImplemented(const QByteArray& data, const QString& message);
    ~NotImplemented() override;
};

// The bucket has no lifecycle policy.
class NoSuchLifecycleConfiguration : public Operation
{
public:
    NoSuchLifecycleConfiguration(const QByteArray& data, const QString& message);
    ~NoSuchLifecycleConfiguration() override;
};

// The service asks for a slower request rate.
class SlowDown : public TemporarilyUnavailable
{
public:
    SlowDown(const QByteArray& data, const QString& message);
    ~SlowDown() override;
};

} // namespace Norvik::Cloud::Api::Exception
