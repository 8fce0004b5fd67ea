// From an error answer of an S3 service to exactly one exception.
//
// The same table serves every S3-compatible service. Services that send fewer elements than
// Amazon S3 get the fallbacks: the default text of the code, or a general Operation error that
// carries the status and the body.

#include "s3/CloudAmazonS3LikePrivate.h"
#include "s3/S3ErrorDescription.h"

#include "connection/AmazonErrorResponseParser.h"
#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>

namespace Norvik::Cloud::Api {

namespace {

// The elements of an S3 error document by name.
class ErrorDocument
{
public:
    explicit ErrorDocument(const QByteArray& body)
        : m_elements(CloudAmazonS3LikePrivate::errorElements(body))
    {
    }

    bool isEmpty() const { return m_elements.isEmpty(); }
    bool has(const char* name) const { return m_elements.contains(QString::fromLatin1(name)); }
    QString value(const char* name) const { return m_elements.value(QString::fromLatin1(name)); }
    QString code() const { return value("Code"); }
    QString message() const { return value("Message"); }
    bool codeIs(const char* code) const { return code == this->code(); }
    // The service's message, or the default text of its code.
    QString described() const
    {
        return Info::ErrorDescription::checkErrorMessage(Info::ErrorDescription::AmazonS3Like(), code(),
                                                         message());
    }

private:
    QMap<QString, QString> m_elements;
};

// The default text of code, whatever the service said.
QString tableText(const char* code)
{
    return Info::ErrorDescription::checkErrorMessage(Info::ErrorDescription::AmazonS3Like(),
                                                     QString::fromLatin1(code), QString());
}

} // namespace

QMap<QString, QString> CloudAmazonS3LikePrivate::errorElements(const QByteArray& body)
{
    QMap<QString, QString> elements;
    // A missing object answers a HEAD with no body at all: nothing to parse, nothing to log.
    if (body.isEmpty())
        return elements;
    const Error::Amazon::AmazonErrorResponseParser parser(body);
    if (!parser.isValid()) {
        QString message;
        if (!QDomDocument().setContent(body, &message)) {
            NorvikDebug("NKC").warning() << "Error on parce error message content:" << message;
            NorvikDebug("NKC").debug() << body;
        }
        return elements;
    }
    elements = parser.other();
    const QPair<const char*, QString> named[] = {{"Code", parser.code()},
                                                 {"Message", parser.message()},
                                                 {"Resource", parser.resource()},
                                                 {"RequestId", parser.requestId()}};
    for (const auto& element : named) {
        if (!element.second.isEmpty())
            elements.insert(QString::fromLatin1(element.first), element.second);
    }
    return elements;
}

void CloudAmazonS3LikePrivate::exceptionFactory(const HeaderMap& requestHeaders,
                                                const HeaderMap& responseHeaders, int status,
                                                const QByteArray& body)
{
    switch (status) {
    case 204:
        throw Exception::NoContent();
    case 307:
        exceptionRedirect(requestHeaders, responseHeaders, status, body);
        break;
    case 400:
        exceptionBadRequest(requestHeaders, responseHeaders, status, body);
        break;
    case 403:
        exceptionForbidden(requestHeaders, responseHeaders, status, body);
        break;
    case 404:
        exceptionNotFound(requestHeaders, responseHeaders, status, body);
        break;
    case 409:
        exceptionConflict(requestHeaders, responseHeaders, status, body);
        break;
    case 500:
        throw Exception::Operation(500, body, tableText("KtrInternalError"), true);
    case 501:
        throw Exception::NotImplemented(body, ErrorDocument(body).message());
    case 503:
        exceptionServiceUnavailable(requestHeaders, responseHeaders, status, body);
        break;
    default:
        break;
    }
    // 301 with a location, and every status without a row of its own; also the end of a
    // delegate that an override let return.
    CloudHttpPrivate::exceptionFactory(requestHeaders, responseHeaders, status, body);
}

namespace {

[[noreturn]] void throwUnparsed(int status, const QByteArray& body)
{
    throw Exception::Operation(
        status, body,
        QCoreApplication::translate("CloudAmazonS3LikePrivate",
                                    "Unhandled runtime exception, please contact Support"),
        false);
}

// A document whose code no row of the delegate knows.
[[noreturn]] void throwUnhandled(const char* delegate, int status, const QByteArray& body,
                                 const ErrorDocument& document)
{
    NorvikDebug("NKC").warning() << delegate << "Unhandled runtime exception, please contact Support";
    NorvikDebug("NKC").debug() << body;
    if (document.message().isEmpty())
        throwUnparsed(status, body);
    throw Exception::Operation(status, body, document.message(), false);
}

} // namespace

void CloudAmazonS3LikePrivate::exceptionBadRequest(const HeaderMap&, const HeaderMap&, int status,
                                                   const QByteArray& body)
{
    const ErrorDocument document(body);
    if (document.isEmpty())
        throwUnparsed(status, body);
    const QString message = document.message();

    // The order matters: three rows share the code "InvalidRequest" and tell themselves apart
    // by the message.
    if (document.codeIs("AuthorizationHeaderMalformed") && document.has("Region"))
        throw Exception::WrongRegion(body, message, document.value("Region"));
    if (document.codeIs("InvalidRequest") && message.contains(QLatin1String("Please use AWS4-HMAC-SHA256")))
        throw Exception::WrongAutorizationType(body, message);
    if (document.codeIs("InvalidArgument") && document.has("ArgumentName"))
        throw Exception::InvalidArgument(body, document.described(), document.value("ArgumentName"));
    if (document.codeIs("InvalidRequest") && message.contains(QLatin1String("S3 Transfer Acceleration")))
        throw Exception::S3TransferAccelerationError(body, message);
    if (document.codeIs("XAmzContentSHA256Mismatch"))
        throw Exception::ContentSHA256Mismatch(body, message);
    if (document.codeIs("InvalidBucketName"))
        throw Exception::InvalidContainerName(body, document.described(), document.value("BucketName"));
    if (document.codeIs("RequestTimeout"))
        throw Exception::RequestTimeout(body, document.described());
    if (document.codeIs("EntityTooSmall") || document.codeIs("InvalidPart") ||
        document.codeIs("InvalidPartOrder"))
        throw Exception::MultipartUploadError(body, document.described());
    if (document.codeIs("InvalidRequest"))
        throw Exception::InvalidRequest(body, message);
    if (document.codeIs("InvalidObjectName"))
        throw Exception::InvalidObjectName(body, message.isEmpty() ? tr("Invalid Object name") : message);
    throwUnhandled("CloudAmazonS3Like::exceptionBadRequest", status, body, document);
}

void CloudAmazonS3LikePrivate::exceptionForbidden(const HeaderMap&, const HeaderMap&, int status,
                                                  const QByteArray& body)
{
    const ErrorDocument document(body);
    if (document.isEmpty())
        throwUnparsed(status, body);

    if (document.codeIs("AccessDenied"))
        throw Exception::AccessDenied(body, document.described());
    if (document.codeIs("SignatureDoesNotMatch"))
        throw Exception::SignatureDoesNotMatch(body, document.described());
    if (document.codeIs("InvalidAccessKeyId"))
        throw Exception::InvalidAutorizationAccount(body, document.described());
    // The user is told how to fix the clock, not what the service said; the record of the
    // exception carries both times.
    if (document.codeIs("RequestTimeTooSkewed"))
        throw Exception::ComputerClockIsNotSynchronize(body, tableText("RequestTimeTooSkewed"));
    if (document.codeIs("InvalidObjectState"))
        throw Exception::InvalidObjectState(body, document.described());
    if (document.codeIs("PoorAccountStanding"))
        throw Exception::AllAccessDisabled(body, document.described());
    if (document.codeIs("AuthMethodNotRecognized"))
        throw Exception::InvalidAutorizationAccount(body, tableText("AuthMethodNotRecognized"));
    if (document.codeIs("InvalidTier"))
        throw Exception::ArchiveInvalidTier(body, tableText("InvalidTier"));
    throwUnhandled("CloudAmazonS3Like::exceptionForbidden", status, body, document);
}

void CloudAmazonS3LikePrivate::exceptionNotFound(const HeaderMap&, const HeaderMap&, int status,
                                                 const QByteArray& body)
{
    const ErrorDocument document(body);
    // A HEAD, or a 404 without a document: the object is not there.
    if (document.isEmpty())
        throw Exception::NoContent(status, body, tr("No Content"));

    if (document.codeIs("NoSuchBucket"))
        throw Exception::ContainerDoesNotExist(body, document.described());
    if (document.codeIs("NoSuchKey"))
        throw Exception::NoContent(404, body, document.described());
    if (document.codeIs("NoSuchLifecycleConfiguration"))
        throw Exception::NoSuchLifecycleConfiguration(body, document.described());
    if (document.codeIs("NoSuchUpload"))
        throw Exception::MultipartInvalidUploadId(body, document.described());
    throwUnhandled("CloudAmazonS3Like::exceptionNotFound", status, body, document);
}

void CloudAmazonS3LikePrivate::exceptionRedirect(const HeaderMap&, const HeaderMap& responseHeaders,
                                                 int status, const QByteArray& body)
{
    const ErrorDocument document(body);
    if (document.isEmpty())
        throwUnparsed(status, body);

    // The response headers travel with the exception: "x-amz-bucket-region" names the region.
    if (document.codeIs("TemporaryRedirect") && document.has("Endpoint"))
        throw Exception::TemporaryRedirect(body, document.described(),
                                           QUrl(QStringLiteral("//") + document.value("Endpoint")),
                                           responseHeaders);
    throwUnhandled("CloudAmazonS3Like::exceptionRedirect", status, body, document);
}

void CloudAmazonS3LikePrivate::exceptionConflict(const HeaderMap&, const HeaderMap&, int status,
                                                 const QByteArray& body)
{
    const ErrorDocument document(body);
    if (document.isEmpty())
        throwUnparsed(status, body);

    if (document.codeIs("RestoreAlreadyInProgress"))
        throw Exception::ArchiveRestoreAlreadyInProgress(body, document.described());
    throwUnhandled("CloudAmazonS3Like::exceptionConflict", status, body, document);
}

void CloudAmazonS3LikePrivate::exceptionServiceUnavailable(const HeaderMap&, const HeaderMap&, int,
                                                           const QByteArray& body)
{
    // Every 503 stays retryable, also one without a document (an HTML page of a proxy) or with
    // an unknown code.
    const ErrorDocument document(body);
    const QString message = document.message().isEmpty() ? tr("Service Unavailable") : document.message();
    if (document.isEmpty())
        throw Exception::TemporarilyUnavailable(body, message);

    if (document.codeIs("GlacierExpeditedRetrievalNotAvailable"))
        throw Exception::ArchiveNotAvailable(body, document.described());
    if (document.codeIs("TemporarilyUnavailable") || document.codeIs("ServiceUnavailable"))
        throw Exception::TemporarilyUnavailable(body, document.described());
    if (document.codeIs("SlowDown"))
        throw Exception::SlowDown(body, document.described());

    NorvikDebug("NKC").warning() << "CloudAmazonS3Like::exceptionServiceUnavailable"
                                 << "Unhandled runtime exception, please contact Support";
    NorvikDebug("NKC").debug() << body;
    throw Exception::TemporarilyUnavailable(body, message);
}

} // namespace Norvik::Cloud::Api
