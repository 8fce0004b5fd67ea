#pragma once

#include "info/InfoBase.h"

#include <QMap>
#include <QUrl>

namespace Norvik::Cloud::Info {

// OpenStack Swift and its provider classes. A provider offers named identity services; the
// plain type has none and needs "Endpoint" configured.
class OpenStack : public Base
{
public:
    explicit OpenStack(Type type);
    ~OpenStack() override;

    // Display name to the identity service's address.
    QMap<QString, QUrl> endpoints() const { return m_endpoints; }
    bool supportAuthV1() const { return m_supportAuthV1; }
    bool supportAuthV2() const { return m_supportAuthV2; }
    bool supportAuthV3() const { return m_supportAuthV3; }
    // Whether temporary URLs may set an account key when the account has none.
    bool needToSetAccountTempUrlKeyIfMissing() const { return m_needToSetAccountTempUrlKeyIfMissing; }

protected:
    QMap<QString, QUrl> m_endpoints;
    bool m_supportAuthV1 = true;
    bool m_supportAuthV2 = true;
    bool m_supportAuthV3 = true;
    bool m_needToSetAccountTempUrlKeyIfMissing = true;
};

class Rackspace : public OpenStack
{
public:
    Rackspace();
    ~Rackspace() override;
};

class OracleCloud : public OpenStack
{
public:
    OracleCloud();
    ~OracleCloud() override;
};

class SoftLayer : public OpenStack
{
public:
    SoftLayer();
    ~SoftLayer() override;
};

// HP Cloud and its successor HP Helion share one descriptor, of type HPCloud.
class HPCloud : public OpenStack
{
public:
    HPCloud();
    ~HPCloud() override;
};

} // namespace Norvik::Cloud::Info
