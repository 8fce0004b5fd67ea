#pragma once

#include "connection/CloudError.h"

#include <QSharedPointer>

namespace Norvik::Cloud::Error {

// Rebuilds a record from the text that a client got as an operation's cloudError().
class CloudErrorFactory
{
public:
    // The record of the right class, or null for an unreadable text, a record without a type,
    // a type of 0 or a type this library does not know.
    QSharedPointer<CloudErrorBase> operator()(const QByteArray& data) const;
};

} // namespace Norvik::Cloud::Error
