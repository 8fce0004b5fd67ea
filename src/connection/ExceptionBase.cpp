#include "connection/ExceptionBase.h"

#include <QObject>

namespace Norvik::Cloud::Api::Exception {

Base::Base(const QString& message, bool retry)
    : ::Norvik::Exception::Base(message)
    , m_retry(retry)
{
}

Base::~Base() = default;

InternalError::InternalError(const QString& message)
    : Base(message, false)
{
}

InternalError::~InternalError() = default;

Unknown::Unknown()
    : Base(QStringLiteral("Unknown exception"), false)
{
}

Unknown::Unknown(const QString& message)
    : Base(message, false)
{
}

Unknown::~Unknown() = default;

Terminated::Terminated()
    : Base(QObject::tr("Command is terminated by user"), false)
{
}

Terminated::~Terminated() = default;

DataWritingError::DataWritingError()
    : Base(QObject::tr("Data writing was interrupted."), false)
{
}

DataWritingError::DataWritingError(const QString& message)
    : Base(message, false)
{
}

DataWritingError::~DataWritingError() = default;

} // namespace Norvik::Cloud::Api::Exception
