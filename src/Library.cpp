#include "Library.h"

#include <NorvikCore/Version.h>

namespace Norvik::Cloud {

QString libraryVersion()
{
    return Norvik::Core::Version::number().toString();
}

} // namespace Norvik::Cloud
