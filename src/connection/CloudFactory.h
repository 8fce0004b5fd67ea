#pragma once

#include <QMap>
#include <QString>
#include <QVariant>

namespace Norvik::Cloud::Api {

class IConnection;

// Makes a configured connection from a cloud configuration: the class by "CloudType", then
// setConfig() with the whole map. Stateless; any thread may call it.
class CloudFactory
{
public:
    // A new connection that the caller owns, or null when "CloudType" is missing or unknown,
    // when the type has no connection class in this library (logged as a warning), or when the
    // connection refuses the configuration. Exceptions of a custom cloud plug-in that cannot be
    // loaded pass through.
    static IConnection* create(const QMap<QString, QVariant>& config);

    // The type whose name is exactly name (the search is case-sensitive), as an int; -1 for
    // an unknown name.
    static int name2Type(const QString& name);
};

} // namespace Norvik::Cloud::Api
