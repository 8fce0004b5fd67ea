#pragma once

#include <NorvikCore/Exception.h>

namespace Norvik::Cloud::Api::Exception {

// Root of every failure a connection throws. Callers branch on the class: the request loops
// decide by it whether to try again, follow a redirect or refresh a token, and the job
// boundary turns it into an error code. All classes are copyable, because request loops keep
// the last exception and throw it again once their attempts are spent.
class Base : public ::Norvik::Exception::Base
{
public:
    Base(const QString& message, bool retry);
    ~Base() override;

    // Whether the transport's request loop may send the same request again.
    bool retry() const { return m_retry; }

private:
    bool m_retry;
};

// A fault of this library rather than of the service or the network.
class InternalError : public Base
{
public:
    explicit InternalError(const QString& message);
    ~InternalError() override;
};

// A failure nobody could classify.
class Unknown : public Base
{
public:
    Unknown();
    explicit Unknown(const QString& message);
    ~Unknown() override;
};

// The engine is stopping and aborted the transfer.
class Terminated : public Base
{
public:
    Terminated();
    ~Terminated() override;
};

// Writing received data to the caller's device failed.
class DataWritingError : public Base
{
public:
    DataWritingError();
    explicit DataWritingError(const QString& message);
    ~DataWritingError() override;
};

} // namespace Norvik::Cloud::Api::Exception
