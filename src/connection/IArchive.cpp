#include "connection/IArchive.h"

namespace Norvik::Cloud::Api {

IArchive::~IArchive() = default;

} // namespace Norvik::Cloud::Api
