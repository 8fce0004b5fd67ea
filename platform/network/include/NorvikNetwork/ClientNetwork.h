#pragma once

#include <NorvikNetwork/ClientHttp.h>

class QUrl;

namespace Norvik::Network {

// The client for storage reached by host and port (FTP, FTPS, SFTP).
class ClientNetwork : public ClientCurl
{
public:
    ClientNetwork();
    ~ClientNetwork() override;

    void setUseProxy(bool useProxy) { m_useProxy = useProxy; }
    bool useProxy() const { return m_useProxy; }
    void setSslVerifyState(SslVerifyPeerState state) { m_sslState = state; }
    SslVerifyPeerState sslVerifyState() const { return m_sslState; }

    // A handle for url: uploads read from read, downloads are written to write, header or
    // command replies go to header (each may be null). Time-outs, proxy (when enabled),
    // progress under id, the abort test and the bandwidth limiter are set.
    virtual QSharedPointer<curlpp::Easy> createRequest(const QUrl& url, QIODevice* read, QIODevice* write,
                                                       QIODevice* header, const QUuid& id);

private:
    bool m_useProxy = false;
    SslVerifyPeerState m_sslState = SslVerifyPeer;
};

} // namespace Norvik::Network
