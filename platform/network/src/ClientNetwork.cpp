#include "NorvikNetwork/ClientNetwork.h"

#include "TlsOptions.h"

#include <NorvikCore/GlobalConfig.h>
#include <NorvikCore/NorvikDebug.h>

#include <QUrl>

#include <curlpp/Easy.hpp>
#include <curlpp/Options.hpp>

#include <functional>

namespace Norvik::Network {

ClientNetwork::ClientNetwork() = default;

ClientNetwork::~ClientNetwork() = default;

QSharedPointer<curlpp::Easy> ClientNetwork::createRequest(const QUrl& url, QIODevice* read, QIODevice* write,
                                                          QIODevice* header, const QUuid& id)
{
    if (!url.isValid() || url.scheme().isEmpty() || url.host().isEmpty()) {
        NorvikDebug("NKC").warning() << "No request for an unusable address, url:" << url.toDisplayString();
        return {};
    }

    auto request = QSharedPointer<curlpp::Easy>::create();
    applyCommonOptions(*request, id, m_useProxy);
    // FTP commands and SFTP cannot travel as HTTP requests: a proxy has to tunnel them.
    if (m_useProxy && !Core::GlobalConfig::instance().proxy().isEmpty())
        request->setOpt(curlpp::options::HttpProxyTunnel(true));
    request->setOpt(curlpp::options::Url(url.toEncoded(QUrl::FullyEncoded).toStdString()));
    applyWriteCallbacks(*request, write, header);
    if (read) {
        using namespace std::placeholders;
        request->setOpt(
            curlpp::options::ReadFunction(std::bind(&ClientCurl::StreamReadData, read, _1, _2, _3)));
    }
    Internal::applyTlsOptions(*request, m_sslState, true);
    return request;
}

} // namespace Norvik::Network
