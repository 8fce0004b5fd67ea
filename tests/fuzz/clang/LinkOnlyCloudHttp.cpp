// The S3 error mapping's source is linked into the error fuzz target for the document reader
// that it holds; its delegates end in the transport's own mapping, which the target never
// reaches. This definition satisfies the linker without pulling in the transport and libcurl;
// reaching it is a bug of the fuzz target.
#include "connection/CloudHttpPrivate.h"

#include <cstdlib>

namespace Norvik::Cloud::Api {

void CloudHttp::CloudHttpPrivate::exceptionFactory(const HeaderMap&, const HeaderMap&, int, const QByteArray&)
{
    std::abort();
}

} // namespace Norvik::Cloud::Api
