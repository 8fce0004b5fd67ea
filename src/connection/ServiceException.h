#pragma once

#include "connection/OperationException.h"

// Failures that only one service family reports. They live in namespaces named after the
// family so that a handler can tell, say, a B2 rate limit from a general one.
namespace Norvik::Cloud::Api::Exception::AzureBlob {

// The shared access signature has run out; a connection that holds one fetches a new one.
class RefreshSasToken : public Operation
{
public:
    RefreshSasToken(const QByteArray& data, const QString& message);
    ~RefreshSasToken() override;
};

} // namespace Norvik::Cloud::Api::Exception::AzureBlob

namespace Norvik::Cloud::Api::Exception::BackBlaze {

// The authorisation token is missing, wrong or expired.
class UnAuthorized : public Operation
{
public:
    UnAuthorized(const QByteArray& data, const QString& message);
    ~UnAuthorized() override;
};

class TooManyRequests : public Operation
{
public:
    TooManyRequests(const QByteArray& data, const QString& message);
    ~TooManyRequests() override;
};

class ServiceUnavailable : public Operation
{
public:
    ServiceUnavailable(const QByteArray& data, const QString& message);
    ~ServiceUnavailable() override;
};

// An upload URL or token is already in use by another upload.
class AuthTokenLimit : public Operation
{
public:
    AuthTokenLimit(const QByteArray& data, const QString& message);
    ~AuthTokenLimit() override;
};

// Carries the cloud error record when the body is a "file_not_present" error.
class FileNotPresent : public Operation
{
public:
    FileNotPresent(const QByteArray& data, const QString& message);
    ~FileNotPresent() override;
};

class InternalError : public Operation
{
public:
    InternalError(const QByteArray& data, const QString& message);
    ~InternalError() override;
};

// Caught wherever the general class is; carries the B2 form of the cloud error record.
class PathContainsIllegalSymbols : public Exception::PathContainsIllegalSymbols
{
public:
    PathContainsIllegalSymbols(const QByteArray& data, const QString& message);
    ~PathContainsIllegalSymbols() override;
};

} // namespace Norvik::Cloud::Api::Exception::BackBlaze
