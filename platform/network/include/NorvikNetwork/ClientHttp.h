#pragma once

#include <NorvikNetwork/ClientCurl.h>

namespace Norvik::Network {

// 0: the peer's certificate is not checked. 1: certificate and, when verifyHost() is true,
// host name are checked. 2: certificate and host name are always checked and TLS 1.2 is
// the oldest protocol accepted.
enum SslVerifyPeerState
{
    SslVerifyNone = 0,
    SslVerifyPeer = 1,
    SslVerifyPeerStrict = 2
};

class ClientHttp : public ClientCurl
{
public:
    ClientHttp();
    ~ClientHttp() override;

    void setSslVerifyState(SslVerifyPeerState state);
    SslVerifyPeerState sslVerifyState() const { return m_sslState; }
    void setVerifyHost(bool verify);
    bool verifyHost() const { return m_verifyHost; }

    // A handle prepared for one HTTP transfer: the response body goes to body, the raw
    // header lines to header and libcurl's verbose trace to trace (each may be null).
    // Time-outs, low-speed limit, proxy, TLS verification, bandwidth limit, progress
    // reporting under id and the abort test are set. The caller adds URL, verb and headers.
    // Redirects are not followed: the status reaches the caller.
    virtual QSharedPointer<curlpp::Easy> createRequest(QIODevice* body, QIODevice* header, QIODevice* trace,
                                                       const QUuid& id);

private:
    SslVerifyPeerState m_sslState = SslVerifyPeer;
    bool m_verifyHost = true;
};

} // namespace Norvik::Network
