#include "storage/StorageNetworkPrivate.h"

#include <NorvikNetwork/ClientNetwork.h>

#include <curlpp/Easy.hpp>

namespace Norvik::Cloud::Api {

StorageNetwork::StorageNetworkPrivate::StorageNetworkPrivate()
    : m_client(std::make_unique<Network::ClientNetwork>())
{
}

StorageNetwork::StorageNetworkPrivate::~StorageNetworkPrivate() = default;

void StorageNetwork::StorageNetworkPrivate::setUseProxy(bool useProxy)
{
    m_useProxy = useProxy;
    m_client->setUseProxy(useProxy);
}

QUrl StorageNetwork::StorageNetworkPrivate::generateUrl(const QString& scheme, const QString& host,
                                                        const QString& path)
{
    QString cleanPath = path;
    cleanPath.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (!cleanPath.startsWith(QLatin1Char('/')))
        cleanPath.prepend(QLatin1Char('/'));
    QUrl url;
    url.setScheme(scheme);
    url.setHost(host);
    url.setPath(cleanPath);
    return url.isValid() ? url : QUrl();
}

QString StorageNetwork::StorageNetworkPrivate::pathConcat(const QString& a, const QString& b)
{
    QString result = a;
    if (!result.startsWith(QLatin1Char('/')))
        result.prepend(QLatin1Char('/'));
    if (b.startsWith(QLatin1Char('/'))) {
        if (result.endsWith(QLatin1Char('/')))
            result.chop(1);
    } else if (!result.endsWith(QLatin1Char('/'))) {
        result.append(QLatin1Char('/'));
    }
    return result + b;
}

QSharedPointer<curlpp::Easy>
StorageNetwork::StorageNetworkPrivate::createRequest(const QUrl& url, QIODevice* read, QIODevice* write,
                                                     QIODevice* header, const QUuid& id)
{
    return m_client->createRequest(url, read, write, header, id);
}

} // namespace Norvik::Cloud::Api
