#pragma once

#include "info/InfoBase.h"

#include <QList>
#include <QMap>
#include <QPair>
#include <QUrl>

namespace Norvik::Cloud::Info {

// Region id, such as "us-west-2", to its display name and the host prefix of the region.
using RegionMap = QMap<QString, QPair<QString, QString>>;

// A service that speaks the S3 protocol. Used as it is for the compatible services that have
// no descriptor of their own; those have no default host and need "Endpoint" configured.
class AmazonS3Like : public Base
{
public:
    enum Signature
    {
        V2 = 0,
        V4 = 1,
    };

    explicit AmazonS3Like(Type type);
    ~AmazonS3Like() override;

    // Signature versions that the service accepts.
    virtual QList<Signature> supportSignature() const;
    // The regions the service offers. update allows a download of a fresher list where the
    // service has one; descriptors without a list ignore it.
    virtual RegionMap regions(bool update) const;
    virtual QString userAgent() const;

    // Used when the configuration names no signature version.
    Signature defaultSignature() const { return m_defaultSignature; }
    // The service's host without a scheme; empty when there is no public default.
    QUrl defaultEndpoint() const { return m_defaultEndpoint; }
    // Whether the host name varies by region.
    bool supportRegions() const { return m_supportRegions; }
    QString defaultRegion() const { return m_defaultRegion; }
    // Whether listings report object versions.
    bool supportVersioning() const { return m_supportVersioning; }

protected:
    // A URL with only a host, which takes a scheme later without losing it.
    static QUrl hostUrl(const QString& host);

    QList<Signature> m_signatures;
    Signature m_defaultSignature = V2;
    QUrl m_defaultEndpoint;
    bool m_supportRegions = false;
    QString m_defaultRegion;
    bool m_supportVersioning = false;
};

} // namespace Norvik::Cloud::Info
