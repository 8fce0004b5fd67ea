#include "TlsOptions.h"

#include <NorvikCore/GlobalConfig.h>

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>

namespace Norvik::Network::Internal {

void applyTlsOptions(curlpp::Easy& request, SslVerifyPeerState state, bool verifyHost)
{
    const bool verifyPeer = state != SslVerifyNone;
    // libcurl's host check takes 2 or 0; 1 is an old synonym of 2.
    const long hostCheck = state == SslVerifyPeerStrict || (state == SslVerifyPeer && verifyHost) ? 2L : 0L;

    request.setOpt(curlpp::options::SslVerifyPeer(verifyPeer));
    request.setOpt(curlpp::options::SslVerifyHost(hostCheck));
    request.setOpt(curlpp::OptionTrait<long, CURLOPT_PROXY_SSL_VERIFYPEER>(verifyPeer ? 1L : 0L));
    request.setOpt(curlpp::OptionTrait<long, CURLOPT_PROXY_SSL_VERIFYHOST>(hostCheck));
    if (state == SslVerifyPeerStrict)
        request.setOpt(curlpp::options::SslVersion(CURL_SSLVERSION_TLSv1_2));

    const QString caPath = Core::GlobalConfig::instance().caCertificatesPath();
    if (!caPath.isEmpty()) {
        request.setOpt(curlpp::options::CaInfo(caPath.toStdString()));
        request.setOpt(curlpp::OptionTrait<std::string, CURLOPT_PROXY_CAINFO>(caPath.toStdString()));
    }
}

SslVerifyPeerState configuredTlsState()
{
    const Core::GlobalConfig& config = Core::GlobalConfig::instance();
    if (!config.sslVerifyPeer())
        return SslVerifyNone;
    return config.sslVerifyStrict() ? SslVerifyPeerStrict : SslVerifyPeer;
}

} // namespace Norvik::Network::Internal
