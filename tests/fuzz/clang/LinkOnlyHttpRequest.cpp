// The region list's download path is linked into the fuzz targets but never run by them: the
// fuzzers feed the parser directly. These definitions satisfy the linker without pulling in the
// network library and libcurl; reaching any of them is a bug of the fuzz target.
#include <NorvikNetwork/HttpRequest.h>

#include <cstdlib>

namespace Norvik::Network {

struct HttpRequest::Transfer
{
};

HttpRequest::Handler::~Handler() = default;

HttpRequest::HttpRequest(const QUrl&, QObject*, Handler*)
{
    std::abort();
}

HttpRequest::~HttpRequest() = default;

bool HttpRequest::isFinished() const
{
    std::abort();
}

bool HttpRequest::hasError() const
{
    std::abort();
}

QString HttpRequest::errorMessage() const
{
    std::abort();
}

int HttpRequest::status() const
{
    std::abort();
}

QByteArray HttpRequest::data() const
{
    std::abort();
}

void HttpRequest::deliver()
{
    std::abort();
}

} // namespace Norvik::Network
