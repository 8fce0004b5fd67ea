#include "NorvikNetwork/ClientHttp.h"

#include "TlsOptions.h"

#include <curlpp/Easy.hpp>

namespace Norvik::Network {

ClientHttp::ClientHttp() = default;

ClientHttp::~ClientHttp() = default;

void ClientHttp::setSslVerifyState(SslVerifyPeerState state)
{
    m_sslState = state;
}

void ClientHttp::setVerifyHost(bool verify)
{
    m_verifyHost = verify;
}

QSharedPointer<curlpp::Easy> ClientHttp::createRequest(QIODevice* body, QIODevice* header, QIODevice* trace,
                                                       const QUuid& id)
{
    auto request = QSharedPointer<curlpp::Easy>::create();
    applyCommonOptions(*request, id, true, trace);
    applyWriteCallbacks(*request, body, header);
    Internal::applyTlsOptions(*request, m_sslState, m_verifyHost);
    return request;
}

} // namespace Norvik::Network
