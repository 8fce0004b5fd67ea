#pragma once

#include <QVersionNumber>

namespace Norvik::Core {

class Version
{
public:
    // Version of the Norvik libraries: major, minor and micro.
    static QVersionNumber number();
};

} // namespace Norvik::Core
