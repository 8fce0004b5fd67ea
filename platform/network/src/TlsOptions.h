#pragma once

#include "NorvikNetwork/ClientHttp.h"

namespace Norvik::Network::Internal {

// TLS verification of the peer and of an HTTPS proxy by state, with the CA bundle of the
// global configuration when one is named.
void applyTlsOptions(curlpp::Easy& request, SslVerifyPeerState state, bool verifyHost);

// The state that the global configuration asks for.
SslVerifyPeerState configuredTlsState();

} // namespace Norvik::Network::Internal
