#include "connection/MultipleDeleteErrorObject.h"

#include <QJsonValue>

namespace Norvik::Cloud::Api {

namespace {

const QString NameKey = QStringLiteral("name");
const QString MessageKey = QStringLiteral("message");
const QString CodeKey = QStringLiteral("code");

} // namespace

MultipleDeleteErrorObject::MultipleDeleteErrorObject(const QString& name, const QString& message, Code code)
{
    setName(name);
    setMessage(message);
    setCode(code);
}

MultipleDeleteErrorObject::MultipleDeleteErrorObject(const QJsonObject& object)
    : m_object(object)
{
}

MultipleDeleteErrorObject::~MultipleDeleteErrorObject() = default;

QString MultipleDeleteErrorObject::name() const
{
    return m_object.value(NameKey).toString();
}

void MultipleDeleteErrorObject::setName(const QString& name)
{
    m_object.insert(NameKey, name);
}

QString MultipleDeleteErrorObject::message() const
{
    return m_object.value(MessageKey).toString();
}

void MultipleDeleteErrorObject::setMessage(const QString& message)
{
    m_object.insert(MessageKey, message);
}

MultipleDeleteErrorObject::Code MultipleDeleteErrorObject::code() const
{
    switch (m_object.value(CodeKey).toInt(Other)) {
    case AccessDenied:
        return AccessDenied;
    case InternalError:
        return InternalError;
    default:
        return Other;
    }
}

void MultipleDeleteErrorObject::setCode(Code code)
{
    m_object.insert(CodeKey, static_cast<int>(code));
}

} // namespace Norvik::Cloud::Api
