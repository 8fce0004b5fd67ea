// The mapping of the service's JSON error answers to exceptions.

#include "backblaze/BackBlazeRecords.h"
#include "backblaze/CloudBackBlazePrivate.h"

#include "connection/Exception.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud::Api {

void CloudBackBlazePrivate::exceptionFactory(const HeaderMap& requestHeaders,
                                             const HeaderMap& responseHeaders, int status,
                                             const QByteArray& body)
{
    switch (status) {
    case 400:
        exceptionBadRequest(requestHeaders, responseHeaders, status, body);
        break;
    case 401:
        throw Exception::BackBlaze::UnAuthorized(body, BackBlazeError(body).message());
    case 403:
        exceptionForbidden(requestHeaders, responseHeaders, status, body);
        break;
    case 404:
        throw Exception::NoContent();
    case 429:
        throw Exception::BackBlaze::TooManyRequests(body, BackBlazeError(body).message());
    case 500:
        throw Exception::BackBlaze::InternalError(body, BackBlazeError(body).message());
    case 503:
        throw Exception::BackBlaze::ServiceUnavailable(body, BackBlazeError(body).message());
    default:
        break;
    }
    CloudHttpPrivate::exceptionFactory(requestHeaders, responseHeaders, status, body);
}

namespace {

[[noreturn]] void throwUnhandled(const char* where, int status, const QByteArray& body,
                                 const QString& message)
{
    const QString unhandled = QCoreApplication::translate(
        "CloudBackBlazePrivate", "Unhandled runtime exception, please contact Support");
    NorvikDebug("NKC").warning() << where << "Unhandled runtime exception, please contact Support";
    NorvikDebug("NKC").debug() << body;
    throw Exception::Operation(status, body, message.isEmpty() ? unhandled : message, false);
}

} // namespace

void CloudBackBlazePrivate::exceptionForbidden(const HeaderMap&, const HeaderMap&, int status,
                                               const QByteArray& body)
{
    throwForbidden(status, body);
}

void CloudBackBlazePrivate::exceptionBadRequest(const HeaderMap&, const HeaderMap&, int status,
                                                const QByteArray& body)
{
    throwBadRequest(status, body);
}

void CloudBackBlazePrivate::throwForbidden(int status, const QByteArray& body)
{
    const BackBlazeError error(body);
    throwUnhandled("CloudBackBlazePrivate::exceptionForbidden", status, body, error.message());
}

void CloudBackBlazePrivate::throwBadRequest(int status, const QByteArray& body)
{
    const BackBlazeError error(body);
    const QString& code = error.code();
    const QString& message = error.message();
    if (code == QLatin1String("invalid_bucket_name"))
        throw Exception::InvalidContainerName(body, message, QString());
    if (code == QLatin1String("bad_request")) {
        if (message.contains(QLatin1String("more than one upload using auth token")))
            throw Exception::BackBlaze::AuthTokenLimit(body, message);
        if (message.contains(
                QLatin1String("File names must not contain unicode characters with codes less than")) ||
            message.contains(QLatin1String("File names must not contain DELETE")))
            throw Exception::BackBlaze::PathContainsIllegalSymbols(body, message);
        throw Exception::BadRequest(body, message);
    }
    if (code == QLatin1String("file_not_present"))
        throw Exception::BackBlaze::FileNotPresent(body, message);
    if (code == QLatin1String("bad_json"))
        throw Exception::InvalidArgument(body, message, message.section(QLatin1Char(':'), -1));
    if (code == QLatin1String("auth_token_limit"))
        throw Exception::BackBlaze::AuthTokenLimit(body, message);
    throwUnhandled("CloudBackBlazePrivate::exceptionBadRequest", status, body, message);
}

} // namespace Norvik::Cloud::Api
