#include "NorvikCore/Version.h"

namespace Norvik::Core {

QVersionNumber Version::number()
{
    return QVersionNumber(NORVIK_VERSION_MAJOR, NORVIK_VERSION_MINOR, NORVIK_VERSION_PATCH);
}

} // namespace Norvik::Core
