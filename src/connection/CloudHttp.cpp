#include "connection/CloudHttp.h"

#include "connection/CloudHttpPrivate.h"
#include "info/Config.h"

namespace Norvik::Cloud::Api {

CloudHttp::CloudHttp(Type type)
    : ICloud(type)
{
}

CloudHttp::~CloudHttp() = default;

bool CloudHttp::setConfig(const QMap<QString, QVariant>& config)
{
    if (config.contains(Config::Http::Endpoint)) {
        setEndpoint(config.value(Config::Http::Endpoint).toUrl());
    } else {
        const QUrl fallback = defaultEndpoint();
        if (fallback.isEmpty())
            return false;
        setEndpoint(fallback);
    }

    if (config.contains(Config::Http::UseSsl))
        useSsl = config.value(Config::Http::UseSsl).toBool();

    QUrl address = endpoint();
    address.setScheme(useSsl ? QStringLiteral("https") : QStringLiteral("http"));
    setEndpoint(address);

    // Subclasses resolve relative paths against the endpoint, which therefore has to be a
    // folder: without the "/" the last segment of a configured path would be replaced.
    const QString text = endpoint().toString(QUrl::FullyEncoded);
    if (!text.endsWith(QLatin1Char('/')))
        setEndpoint(QUrl(text + QLatin1Char('/'), QUrl::StrictMode));

    return IConnection::setConfig(config);
}

QUrl CloudHttp::defaultEndpoint() const
{
    return QUrl();
}

QPair<quint64, quint64> CloudHttp::requestGetCount()
{
    return CloudHttpPrivate::requestGetCount();
}

QPair<quint64, quint64> CloudHttp::requestPutCount()
{
    return CloudHttpPrivate::requestPutCount();
}

QPair<quint64, quint64> CloudHttp::requestPostCount()
{
    return CloudHttpPrivate::requestPostCount();
}

QPair<quint64, quint64> CloudHttp::requestDeleteCount()
{
    return CloudHttpPrivate::requestDeleteCount();
}

QPair<quint64, quint64> CloudHttp::requestHeadCount()
{
    return CloudHttpPrivate::requestHeadCount();
}

} // namespace Norvik::Cloud::Api
