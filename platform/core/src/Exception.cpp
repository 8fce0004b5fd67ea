#include "NorvikCore/Exception.h"

namespace Norvik::Exception {

Base::Base(const QString& message)
    : m_message(message)
    , m_what(message.toUtf8())
{
}

Base::~Base() = default;

const char* Base::what() const noexcept
{
    return m_what.constData();
}

} // namespace Norvik::Exception
