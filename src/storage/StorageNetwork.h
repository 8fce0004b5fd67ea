#pragma once

#include "connection/IConnection.h"

namespace Norvik::Cloud::Api {

// A storage reached by host name and port that has no object API of its own (an SFTP server):
// objects are files below a base folder, and the transfers run over libcurl. The address
// settings are virtual so that each protocol keeps them in its own private object and gives
// its own defaults.
class StorageNetwork : public IConnection
{
public:
    class StorageNetworkPrivate;

    explicit StorageNetwork(Type type);
    ~StorageNetwork() override;

    // Needs "Address"; "Port" (0 to 65535), "KeepAlive" and "UseProxy" fall back to the
    // defaults of the protocol when missing or out of range.
    bool setConfig(const QMap<QString, QVariant>& config) override;

    virtual void setAddress(const QString& address) = 0;
    virtual QString address() const = 0;
    virtual void setPort(quint16 port) = 0;
    virtual quint16 port() const = 0;
    virtual quint16 defaultPort() const = 0;
    virtual void setKeepAlive(bool keepAlive) = 0;
    virtual bool keepAlive() const = 0;
    virtual bool defaultKeepAlive() const = 0;
    virtual void setUseProxy(bool useProxy) = 0;
    virtual bool useProxy() const = 0;
    virtual bool defaultUseProxy() const = 0;
};

} // namespace Norvik::Cloud::Api
