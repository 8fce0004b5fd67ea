#pragma once

#include "info/CloudType.h"

#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Info {

class Base;

// Makes the descriptor of a storage type. Cast the result to the family's class (AmazonS3Like,
// OpenStack, ...) for the family's own questions.
class InfoFactory
{
public:
    // Null, with a warning, for a type that has no descriptor.
    static QSharedPointer<Base> create(Type type);
    // By the type's name, as clients give it under "CloudType".
    static QSharedPointer<Base> create(const QString& name);
    // By the "CloudType" of a cloud configuration.
    static QSharedPointer<Base> create(const QMap<QString, QVariant>& config);
};

} // namespace Norvik::Cloud::Info
