#include "info/OpenStackInfo.h"

#include <QObject>

namespace Norvik::Cloud::Info {

OpenStack::OpenStack(Type type)
    : Base(type)
{
    m_minChunkSize = 5 * MiB;
    m_maxChunkSize = 5 * GiB;
    m_maxChunkCount = 1000;
    m_maxFileSize = 10 * TiB;
    m_encryptionContainer = 3;
    m_supportSignedUrl = true;
}

OpenStack::~OpenStack() = default;

Rackspace::Rackspace()
    : OpenStack(Type::Rackspace)
{
    m_maxChunkCount = 1000;
    m_supportAuthV3 = false;
    m_endpoints = {
        {QStringLiteral("US-based"), QUrl(QStringLiteral("https://identity.api.rackspacecloud.com/v2.0/"))},
        {QStringLiteral("UK-based"),
         QUrl(QStringLiteral("https://lon.identity.api.rackspacecloud.com/v2.0/"))},
    };
}

Rackspace::~Rackspace() = default;

OracleCloud::OracleCloud()
    : OpenStack(Type::OracleCloud)
{
    m_minChunkSize = 5 * MiB;
    m_maxChunkCount = 2048;
    m_maxFileSize = 10 * TiB;
    const auto dataCentre = [](const char* id) {
        return QUrl(QStringLiteral("https://storage.%1.oraclecloud.com/auth/v1.0").arg(QLatin1String(id)));
    };
    m_endpoints = {
        {QStringLiteral("US Commercial 1 (us1)"), dataCentre("us1")},
        {QStringLiteral("US Commercial 2 (us2)"), dataCentre("us2")},
        {QStringLiteral("APAC Commercial 1 (ap1)"), dataCentre("ap1")},
        {QStringLiteral("APAC Commercial 2 (ap2)"), dataCentre("ap2")},
        {QStringLiteral("EMEA Commercial 1 (em1)"), dataCentre("em1")},
        {QStringLiteral("EMEA Commercial 2 (em2)"), dataCentre("em2")},
        {QStringLiteral("EMEA Commercial 3 (em3)"), dataCentre("em3")},
    };
}

OracleCloud::~OracleCloud() = default;

SoftLayer::SoftLayer()
    : OpenStack(Type::SoftLayer)
{
    const auto cluster = [](const char* id) {
        return QUrl(
            QStringLiteral("https://%1.objectstorage.softlayer.net/auth/v1.0/").arg(QLatin1String(id)));
    };
    m_endpoints = {
        {QObject::tr("Dallas"), cluster("dal05")},    {QObject::tr("Amsterdam"), cluster("ams01")},
        {QObject::tr("Frankfurt"), cluster("fra02")}, {QObject::tr("Hong Kong"), cluster("hkg02")},
        {QObject::tr("London"), cluster("lon02")},    {QObject::tr("Melbourne"), cluster("mel01")},
        {QObject::tr("Mexico"), cluster("mex01")},    {QObject::tr("Milan"), cluster("mil01")},
        {QObject::tr("Montreal"), cluster("mon01")},  {QObject::tr("Paris"), cluster("par01")},
        {QObject::tr("San Jose"), cluster("sjc01")},  {QObject::tr("Sao Paulo"), cluster("sao01")},
        {QObject::tr("Sydney"), cluster("syd01")},    {QObject::tr("Singapore"), cluster("sng01")},
        {QObject::tr("Tokyo"), cluster("tok02")},     {QObject::tr("Toronto"), cluster("tor01")},
        {QObject::tr("US Dallas"), cluster("dal06")}, {QObject::tr("Chennai"), cluster("che01")},
    };
}

SoftLayer::~SoftLayer() = default;

HPCloud::HPCloud()
    : OpenStack(Type::HPCloud)
{
}

HPCloud::~HPCloud() = default;

} // namespace Norvik::Cloud::Info
