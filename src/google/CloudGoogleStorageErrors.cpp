// From an error answer of the service to exactly one exception.

#include "google/CloudGoogleStoragePrivate.h"
#include "google/GoogleRecords.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud::Api {

namespace {

bool oneOf(const QString& code, std::initializer_list<const char*> codes)
{
    for (const char* c : codes) {
        if (code == QLatin1String(c))
            return true;
    }
    return false;
}

QString unhandledText()
{
    return QCoreApplication::translate("CloudGoogleStoragePrivate",
                                       "Unhandled runtime exception, please contact Support");
}

// The seconds from the request's time (a mail date) to the service's (an ISO date); empty when
// either is missing.
QString clockDifference(const QMap<QString, QString>& error)
{
    const QString request = error.value(QStringLiteral("RequestTime"));
    const QString server = error.value(QStringLiteral("ServerTime"));
    if (request.isEmpty() || server.isEmpty())
        return QString();
    const QDateTime requestTime = QDateTime::fromString(request, Qt::RFC2822Date);
    const QDateTime serverTime = QDateTime::fromString(server, Qt::ISODate);
    return QString::number(requestTime.secsTo(serverTime));
}

} // namespace

void CloudGoogleStoragePrivate::exceptionFactory(const HeaderMap& requestHeaders,
                                                 const HeaderMap& responseHeaders, int status,
                                                 const QByteArray& body)
{
    switch (status) {
    case 204:
        throw Exception::NoContent();
    case 307:
        exceptionRedirect(requestHeaders, responseHeaders, status, body);
        break;
    case 308:
        throw Exception::ResumeIncomplete(responseHeaders.value("range"),
                                          responseHeaders.value("x-range-md5"));
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
    default:
        break;
    }
    CloudHttpPrivate::exceptionFactory(requestHeaders, responseHeaders, status, body);
}

void CloudGoogleStoragePrivate::throwUnhandled(const char* handler, int status, const QByteArray& body,
                                               const QMap<QString, QString>& error)
{
    NorvikDebug("NKC").warning() << handler << "Unhandled runtime exception, please contact Support";
    NorvikDebug("NKC").debug() << body;
    const QString message = error.value(QStringLiteral("Message"));
    throw Exception::Operation(status, body, message.isEmpty() ? unhandledText() : message, false);
}

void CloudGoogleStoragePrivate::exceptionForbidden(const HeaderMap&, const HeaderMap&, int status,
                                                   const QByteArray& body)
{
    const QMap<QString, QString> error = GoogleXml::parseError(body);
    if (error.isEmpty())
        throw Exception::Operation(status, body, unhandledText(), false);
    const QString code = error.value(QStringLiteral("Code"));
    const QString message = error.value(QStringLiteral("Message"));
    if (oneOf(code, {"AccessDenied", "InvalidPayer"}))
        throw Exception::AccessDenied(body, message);
    if (code == QLatin1String("SignatureDoesNotMatch"))
        throw Exception::SignatureDoesNotMatch(body, message);
    if (oneOf(code, {"AccountProblem", "InsufficientQuota", "InvalidAccessKeyId", "InvalidSecurity",
                     "UserProjectAccountProblem"}))
        throw Exception::InvalidAutorizationAccount(body, message);
    if (code == QLatin1String("RequestTimeTooSkewed"))
        throw Exception::ComputerClockIsNotSynchronize(body, clockDifference(error));
    if (oneOf(code, {"AnotherUserOwnsDomain", "BucketAlreadyExists", "DomainVerificationRequired"}))
        throw Exception::CreateContainerError(body, message);
    throwUnhandled("CloudGoogleStoragePrivate::exceptionForbidden", status, body, error);
}

void CloudGoogleStoragePrivate::exceptionBadRequest(const HeaderMap&, const HeaderMap&, int status,
                                                    const QByteArray& body)
{
    const QMap<QString, QString> error = GoogleXml::parseError(body);
    if (error.isEmpty())
        throw Exception::Operation(status, body, unhandledText(), false);
    const QString code = error.value(QStringLiteral("Code"));
    const QString message = error.value(QStringLiteral("Message"));
    if (code == QLatin1String("InvalidArgument") && error.contains(QStringLiteral("ArgumentName")))
        throw Exception::InvalidArgument(body, message, error.value(QStringLiteral("ArgumentName")));
    if (oneOf(code, {"CustomerEncryptionKeySha256IsInvalid", "CustomerEncryptionAlgorithmIsInvalid",
                     "CustomerEncryptionKeyFormatIsInvalid", "CustomerEncryptionKeyIsIncorrect"}))
        throw Exception::ContentSHA256Mismatch(body, message);
    if (code == QLatin1String("InvalidBucketName") && error.contains(QStringLiteral("BucketName")))
        throw Exception::InvalidContainerName(body, message, error.value(QStringLiteral("BucketName")));
    if (code == QLatin1String("RequestTimeout"))
        throw Exception::RequestTimeout(body, message);
    if (code == QLatin1String("InvalidObjectName"))
        throw Exception::InvalidObjectName(body, message);
    throwUnhandled("CloudGoogleStoragePrivate::exceptionBadRequest", status, body, error);
}

void CloudGoogleStoragePrivate::exceptionNotFound(const HeaderMap&, const HeaderMap&, int status,
                                                  const QByteArray& body)
{
    // A HEAD, or a download into a device that cannot be read back, has no error document:
    // the object is not there.
    if (body.isEmpty())
        throw Exception::NoContent(404, body, tr("Not Found"));
    const QMap<QString, QString> error = GoogleXml::parseError(body);
    if (error.isEmpty())
        throw Exception::Operation(status, body, unhandledText(), false);
    const QString code = error.value(QStringLiteral("Code"));
    if (code == QLatin1String("NoSuchKey"))
        throw Exception::NoContent(404, body, error.value(QStringLiteral("Message")));
    if (code == QLatin1String("NoSuchBucket"))
        throw Exception::ContainerDoesNotExist(body, error.value(QStringLiteral("Message")));
    throwUnhandled("CloudGoogleStoragePrivate::exceptionNotFound", status, body, error);
}

void CloudGoogleStoragePrivate::exceptionRedirect(const HeaderMap& requestHeaders, const HeaderMap&,
                                                  int status, const QByteArray& body)
{
    const QMap<QString, QString> error = GoogleXml::parseError(body);
    if (error.isEmpty())
        throw Exception::Operation(status, body, unhandledText(), false);
    if (error.value(QStringLiteral("Code")) == QLatin1String("TemporaryRedirect") &&
        error.contains(QStringLiteral("Endpoint")))
        throw Exception::TemporaryRedirect(
            body, error.value(QStringLiteral("Message")),
            QUrl(QStringLiteral("//") + error.value(QStringLiteral("Endpoint"))), requestHeaders);
    throwUnhandled("CloudGoogleStoragePrivate::exceptionRedirect", status, body, error);
}

void CloudGoogleStoragePrivate::exceptionConflict(const HeaderMap&, const HeaderMap&, int status,
                                                  const QByteArray& body)
{
    const QMap<QString, QString> error = GoogleXml::parseError(body);
    if (error.isEmpty())
        throw Exception::Operation(status, body, unhandledText(), false);
    const QString code = error.value(QStringLiteral("Code"));
    if (code == QLatin1String("BucketNameUnavailable"))
        throw Exception::InvalidContainerName(body, error.value(QStringLiteral("Message")), code);
    // The log line names the redirect handler, as it always has: log readers search for it.
    throwUnhandled("CloudGoogleStoragePrivate::exceptionRedirect", status, body, error);
}

} // namespace Norvik::Cloud::Api
