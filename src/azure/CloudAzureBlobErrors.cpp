// From an error answer of the Azure Blob service to exactly one exception.

#include "azure/AzureBlobRecords.h"
#include "azure/CloudAzureBlobPrivate.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud::Api {

namespace {

// The elements of the error document. An answer without a body (to HEAD) names its code only
// in a header: that code is taken, so that a missing blob is told from a missing container
// there too.
QMap<QString, QString> errorOf(const CloudAzureBlobPrivate::HeaderMap& responseHeaders,
                               const QByteArray& body)
{
    QMap<QString, QString> error;
    if (!body.isEmpty())
        error = AzureBlobXml::parseError(body);
    const QByteArray headerCode = responseHeaders.value("x-ms-error-code");
    if (error.isEmpty() && !headerCode.isEmpty())
        error.insert(QStringLiteral("Code"), QString::fromUtf8(headerCode));
    return error;
}

QString unhandledText()
{
    return QCoreApplication::translate("CloudAzureBlobPrivate",
                                       "Unhandled runtime exception, please contact Support");
}

// A code that no row of the delegate knows: the service's message, or the general text.
[[noreturn]] void throwUnhandled(const char* delegate, int status, const QByteArray& body,
                                 const QMap<QString, QString>& error)
{
    if (error.isEmpty())
        throw Exception::Operation(status, body, unhandledText(), false);
    NorvikDebug("NKC").warning() << delegate << "Unhandled runtime exception, please contact Support";
    NorvikDebug("NKC").debug() << body;
    const QString message = error.value(QStringLiteral("Message"));
    throw Exception::Operation(status, body, message.isEmpty() ? unhandledText() : message, false);
}

} // namespace

void CloudAzureBlobPrivate::exceptionFactory(const HeaderMap& requestHeaders,
                                             const HeaderMap& responseHeaders, int status,
                                             const QByteArray& body)
{
    switch (status) {
    case 202:
        // The answer of a deletion: callers that delete take it as success.
        throw Exception::Operation(202, body, tr("Accept"), false);
    case 204:
        throw Exception::NoContent();
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
    case 413:
        exceptionPayloadTooLarge(requestHeaders, responseHeaders, status, body);
        break;
    default:
        break;
    }
    // Busy and time-out answers (503, 500) and all others: the transport's general error,
    // which it repeats itself.
    CloudHttpPrivate::exceptionFactory(requestHeaders, responseHeaders, status, body);
}

void CloudAzureBlobPrivate::exceptionBadRequest(const HeaderMap&, const HeaderMap& responseHeaders,
                                                int status, const QByteArray& body)
{
    const QMap<QString, QString> error = errorOf(responseHeaders, body);
    const QString code = error.value(QStringLiteral("Code"));
    if (code == QLatin1String("BlobAccessTierNotSupportedForAccountType"))
        throw Exception::NotSupportedStorageClass(
            body, tr("This blob access tier not supported for this Blob Storage accounts"));
    if (code == QLatin1String("InvalidResourceName") || code == QLatin1String("InvalidUri"))
        throw Exception::InvalidResourceName(body, error.value(QStringLiteral("Message")));
    throwUnhandled("CloudAzureBlobPrivate::exceptionBadRequest", status, body, error);
}

void CloudAzureBlobPrivate::exceptionForbidden(const HeaderMap&, const HeaderMap& responseHeaders, int status,
                                               const QByteArray& body)
{
    const QMap<QString, QString> error = errorOf(responseHeaders, body);
    const QString code = error.value(QStringLiteral("Code"));
    const QString message = error.value(QStringLiteral("Message"));
    if (code == QLatin1String("AuthenticationFailed"))
        throw Exception::SignatureDoesNotMatch(body, message);
    // "AuthorizationFailure" is what emulators and accounts behind network rules answer to
    // a key they do not accept: a matter of the account, like missing permissions.
    if (code == QLatin1String("InsufficientAccountPermissions") ||
        code == QLatin1String("AuthorizationFailure"))
        throw Exception::InvalidAutorizationAccount(body, message);
    throwUnhandled("CloudAzureBlobPrivate::exceptionForbidden", status, body, error);
}

void CloudAzureBlobPrivate::exceptionNotFound(const HeaderMap&, const HeaderMap& responseHeaders, int status,
                                              const QByteArray& body)
{
    const QMap<QString, QString> error = errorOf(responseHeaders, body);
    if (error.value(QStringLiteral("Code")) == QLatin1String("BlobNotFound"))
        throw Exception::NoContent(404, body, error.value(QStringLiteral("Message")));
    throwUnhandled("CloudAzureBlobPrivate::exceptionNotFound", status, body, error);
}

void CloudAzureBlobPrivate::exceptionConflict(const HeaderMap&, const HeaderMap& responseHeaders, int status,
                                              const QByteArray& body)
{
    const QMap<QString, QString> error = errorOf(responseHeaders, body);
    if (error.value(QStringLiteral("Code")) == QLatin1String("BlobArchived"))
        throw Exception::InvalidObjectState(body, error.value(QStringLiteral("Message")));
    throwUnhandled("CloudAzureBlobPrivate::exceptionConflict", status, body, error);
}

void CloudAzureBlobPrivate::exceptionPayloadTooLarge(const HeaderMap&, const HeaderMap& responseHeaders,
                                                     int status, const QByteArray& body)
{
    const QMap<QString, QString> error = errorOf(responseHeaders, body);
    if (error.value(QStringLiteral("Code")) == QLatin1String("RequestBodyTooLarge"))
        throw Exception::InvalidRequest(body, error.value(QStringLiteral("Message")));
    throwUnhandled("CloudAzureBlobPrivate::exceptionPayloadTooLarge", status, body, error);
}

} // namespace Norvik::Cloud::Api
