#include "storage/StorageNetwork.h"

#include "info/Config.h"

#include <NorvikCore/NorvikDebug.h>

namespace Norvik::Cloud::Api {

namespace Keys = Norvik::Cloud::Config::Network;

StorageNetwork::StorageNetwork(Type type)
    : IConnection(type)
{
}

StorageNetwork::~StorageNetwork() = default;

bool StorageNetwork::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.isEmpty()) {
        NorvikDebug("NKC").warning() << "Cloud config is empty";
        return false;
    }
    const QString address = config.value(Keys::Address).toString();
    if (address.isEmpty()) {
        NorvikDebug("NKC").error() << "Network storage config: the address is missing";
        return false;
    }
    setAddress(address);

    bool isNumber = false;
    const int port = config.value(Keys::Port).toInt(&isNumber);
    setPort(isNumber && port >= 0 && port <= 65535 ? static_cast<quint16>(port) : defaultPort());
    setKeepAlive(config.contains(Keys::KeepAlive) ? config.value(Keys::KeepAlive).toBool()
                                                  : defaultKeepAlive());
    setUseProxy(config.contains(Keys::UseProxy) ? config.value(Keys::UseProxy).toBool() : defaultUseProxy());
    return IConnection::setConfig(config);
}

} // namespace Norvik::Cloud::Api
