#pragma once

#include "storage/StorageNetwork.h"

#include <QSharedPointer>
#include <QString>
#include <QUrl>
#include <QUuid>

#include <memory>

class QIODevice;

namespace curlpp {
class Easy;
}

namespace Norvik::Network {
class ClientNetwork;
}

namespace Norvik::Cloud::Api {

// Address, port and proxy use of a network storage, and the libcurl client that makes its
// handles. Protocol engines derive from it.
class StorageNetwork::StorageNetworkPrivate
{
public:
    StorageNetworkPrivate();
    virtual ~StorageNetworkPrivate();
    StorageNetworkPrivate(const StorageNetworkPrivate&) = delete;
    StorageNetworkPrivate& operator=(const StorageNetworkPrivate&) = delete;

    void setAddress(const QString& address) { m_address = address; }
    const QString& address() const { return m_address; }
    void setPort(quint16 port) { m_port = port; }
    quint16 port() const { return m_port; }
    void setUseProxy(bool useProxy);
    bool useProxy() const { return m_useProxy; }

    // scheme://host/path with backslashes turned into slashes and a leading slash; an empty
    // URL when the result is not valid.
    static QUrl generateUrl(const QString& scheme, const QString& host, const QString& path);
    // a and b joined by exactly one slash, with a leading slash.
    static QString pathConcat(const QString& a, const QString& b);

protected:
    // A handle for url with the streams for reading, writing and header lines, the common
    // time-outs, proxy and progress under id; null when the url cannot be used.
    virtual QSharedPointer<curlpp::Easy> createRequest(const QUrl& url, QIODevice* read, QIODevice* write,
                                                       QIODevice* header, const QUuid& id);

private:
    QString m_address;
    quint16 m_port = 0;
    bool m_useProxy = false;
    std::unique_ptr<Network::ClientNetwork> m_client;
};

} // namespace Norvik::Cloud::Api
