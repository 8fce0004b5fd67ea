#include "connection/NetworkException.h"

namespace Norvik::Cloud::Api::Exception {

Network::Network(int code, const QString& message)
    : Base(message, true)
    , m_code(code)
{
}

Network::~Network() = default;

ConnectionError::ConnectionError(int code, const QString& message)
    : Network(code, message)
{
}

ConnectionError::~ConnectionError() = default;

HostNotResolved::HostNotResolved(int code, const QString& message)
    : Network(code, message)
{
}

HostNotResolved::~HostNotResolved() = default;

NetworkTimeout::NetworkTimeout(int code, const QString& message)
    : Network(code, message)
{
}

NetworkTimeout::~NetworkTimeout() = default;

SslProblem::SslProblem(int code, const QString& message)
    : Network(code, message)
{
}

SslProblem::~SslProblem() = default;

SslConnectionError::SslConnectionError(int code, const QString& message)
    : SslProblem(code, message)
{
}

SslConnectionError::~SslConnectionError() = default;

ClientRuntimeError::ClientRuntimeError(int code, const QString& message)
    : Base(message, true)
    , m_code(code)
{
}

ClientRuntimeError::~ClientRuntimeError() = default;

FileNotFound::FileNotFound(int code, const QString& message, const QString& path)
    : ClientRuntimeError(code, message)
    , m_path(path)
{
}

FileNotFound::~FileNotFound() = default;

} // namespace Norvik::Cloud::Api::Exception
