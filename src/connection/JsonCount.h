#pragma once

#include <QJsonValue>

namespace Norvik::Cloud::Api {

// A number from a service's JSON answer read as a size or count. JSON numbers are doubles, and
// converting a negative, huge or non-numeric one to an unsigned integer is undefined; such a value
// reads as 0, which every caller treats as "not given".
inline quint64 jsonCount(const QJsonValue& value)
{
    const double number = value.toDouble();
    if (!(number >= 0) || number >= 9223372036854775807.0)
        return 0;
    return static_cast<quint64>(number);
}

} // namespace Norvik::Cloud::Api
