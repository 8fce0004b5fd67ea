#pragma once

#include <QString>

namespace Norvik::Cloud {

// Version text of libnorvikCloud, "major.minor.patch".
QString libraryVersion();

} // namespace Norvik::Cloud
