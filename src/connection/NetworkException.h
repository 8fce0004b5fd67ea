#pragma once

#include "connection/ExceptionBase.h"

namespace Norvik::Cloud::Api::Exception {

// A transfer failed below HTTP. The code is libcurl's. Always worth another try.
class Network : public Base
{
public:
    Network(int code, const QString& message);
    ~Network() override;

    int code() const { return m_code; }

private:
    int m_code;
};

class ConnectionError : public Network
{
public:
    ConnectionError(int code, const QString& message);
    ~ConnectionError() override;
};

class HostNotResolved : public Network
{
public:
    HostNotResolved(int code, const QString& message);
    ~HostNotResolved() override;
};

class NetworkTimeout : public Network
{
public:
    NetworkTimeout(int code, const QString& message);
    ~NetworkTimeout() override;
};

// Certificates, ciphers or the TLS library itself.
class SslProblem : public Network
{
public:
    SslProblem(int code, const QString& message);
    ~SslProblem() override;
};

// The TLS handshake or the encrypted connection broke.
class SslConnectionError : public SslProblem
{
public:
    SslConnectionError(int code, const QString& message);
    ~SslConnectionError() override;
};

// The transfer client failed at run time for a reason of its own (a local file, an option).
// Not a network failure: it is not caught as one.
class ClientRuntimeError : public Base
{
public:
    ClientRuntimeError(int code, const QString& message);
    ~ClientRuntimeError() override;

    int code() const { return m_code; }

private:
    int m_code;
};

// A local file or folder that a transfer needed is missing.
class FileNotFound : public ClientRuntimeError
{
public:
    FileNotFound(int code, const QString& message, const QString& path);
    ~FileNotFound() override;

    const QString& path() const { return m_path; }

private:
    QString m_path;
};

} // namespace Norvik::Cloud::Api::Exception
