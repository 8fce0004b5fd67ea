#pragma once

#include "connection/ICloud.h"

#include <QMap>
#include <QPair>
#include <QString>
#include <QUrl>
#include <QVariant>

namespace Norvik::Cloud::Api {

// Common base of the connections that speak HTTP. It turns the configured endpoint into the
// base address that every request of a subclass is resolved against; the transport itself is
// the nested CloudHttpPrivate, owned by the concrete connection's private object.
class CloudHttp : public ICloud
{
public:
    class CloudHttpPrivate;

    explicit CloudHttp(Type type);
    ~CloudHttp() override;

    // Takes "Endpoint" (or defaultEndpoint() when it is absent; refused when both are empty)
    // and "UseSsl", which alone decides the scheme: a configured scheme never survives. The
    // endpoint always ends in "/".
    bool setConfig(const QMap<QString, QVariant>& config) override;

    // The address of a service with one fixed host; empty here.
    virtual QUrl defaultEndpoint() const;
    virtual QUrl endpoint() const = 0;
    virtual void setEndpoint(const QUrl& endpoint) = 0;

    // Requests begun and failed attempts of the whole process, by verb.
    static QPair<quint64, quint64> requestGetCount();
    static QPair<quint64, quint64> requestPutCount();
    static QPair<quint64, quint64> requestPostCount();
    static QPair<quint64, quint64> requestDeleteCount();
    static QPair<quint64, quint64> requestHeadCount();

protected:
    // Services that are reached over TLS by default set this in their constructor.
    bool useSsl = false;
};

} // namespace Norvik::Cloud::Api
