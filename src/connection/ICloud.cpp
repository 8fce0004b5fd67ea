#include "connection/ICloud.h"

namespace Norvik::Cloud::Api {

ICloud::~ICloud() = default;

} // namespace Norvik::Cloud::Api
