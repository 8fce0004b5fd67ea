#include "connection/ServiceException.h"

#include "connection/BackBlazeCloudError.h"

namespace Norvik::Cloud::Api::Exception::AzureBlob {

RefreshSasToken::RefreshSasToken(const QByteArray& data, const QString& message)
    : Operation(403, data, message, false)
{
}

RefreshSasToken::~RefreshSasToken() = default;

} // namespace Norvik::Cloud::Api::Exception::AzureBlob

namespace Norvik::Cloud::Api::Exception::BackBlaze {

UnAuthorized::UnAuthorized(const QByteArray& data, const QString& message)
    : Operation(401, data, message, false)
{
}

UnAuthorized::~UnAuthorized() = default;

TooManyRequests::TooManyRequests(const QByteArray& data, const QString& message)
    : Operation(429, data, message, false)
{
}

TooManyRequests::~TooManyRequests() = default;

ServiceUnavailable::ServiceUnavailable(const QByteArray& data, const QString& message)
    : Operation(503, data, message, false)
{
}

ServiceUnavailable::~ServiceUnavailable() = default;

AuthTokenLimit::AuthTokenLimit(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
}

AuthTokenLimit::~AuthTokenLimit() = default;

FileNotPresent::FileNotPresent(const QByteArray& data, const QString& message)
    : Operation(400, data, message, false)
{
    setCloudError(Error::BackBlaze::FileNotPresent::fromResponse(data));
}

FileNotPresent::~FileNotPresent() = default;

InternalError::InternalError(const QByteArray& data, const QString& message)
    : Operation(500, data, message, false)
{
}

InternalError::~InternalError() = default;

PathContainsIllegalSymbols::PathContainsIllegalSymbols(const QByteArray& data, const QString& message)
    : Exception::PathContainsIllegalSymbols(data, message)
{
    setCloudError(Error::BackBlaze::PathContainsIllegalSymbols::fromResponse(data));
}

PathContainsIllegalSymbols::~PathContainsIllegalSymbols() = default;

} // namespace Norvik::Cloud::Api::Exception::BackBlaze
