#include "info/InfoBase.h"

namespace Norvik::Cloud::Info {

const QString Base::VersionDelimiter = QStringLiteral("$");
const QString Base::VersionDelimiterOld = QStringLiteral(":");

Base::Base(Type type)
    : m_type(type)
    // Not in the member initialisers: a descriptor may be built during static initialisation
    // of another translation unit, before VersionDelimiter is.
    , m_versionDelimiter(QStringLiteral("$"))
{
}

Base::~Base() = default;

} // namespace Norvik::Cloud::Info
