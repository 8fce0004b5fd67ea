#include "info/S3CompatibleInfo.h"

namespace Norvik::Cloud::Info {

Minio::Minio()
    : AmazonS3Like(Type::Minio)
{
    m_supportEmptyFolder = false;
    m_signatures = {V2, V4};
    m_defaultSignature = V4;
}

Minio::~Minio() = default;

DreamObjects::DreamObjects()
    : AmazonS3Like(Type::DreamObjects)
{
    m_signatures = {V2, V4};
    m_defaultSignature = V2;
    m_maxFileSize = 10 * TiB;
    m_defaultEndpoint = hostUrl(QStringLiteral("objects-us-east-1.dream.io"));
}

DreamObjects::~DreamObjects() = default;

ThinkOn::ThinkOn()
    : AmazonS3Like(Type::ThinkOn)
{
    m_signatures = {V2, V4};
    m_defaultSignature = V2;
    m_defaultEndpoint = hostUrl(QStringLiteral("s3.thinkon.com"));
}

ThinkOn::~ThinkOn() = default;

Verizon::Verizon()
    : AmazonS3Like(Type::Verizon)
{
    m_signatures = {V2, V4};
    m_defaultSignature = V2;
    m_defaultEndpoint = hostUrl(QStringLiteral("cloud.verizon.com"));
}

Verizon::~Verizon() = default;

AlibabaCloud::AlibabaCloud()
    : AmazonS3Like(Type::AlibabaCloud)
{
    m_signatures = {V4};
    // The only version it offers is also the one to use without a configuration key.
    m_defaultSignature = V4;
    m_maxFileSize = 48 * TiB;
    m_maxDeleteCount = 1000;
    m_supportRegions = true;
    m_defaultRegion = QStringLiteral("oss-cn-hangzhou");
    m_defaultEndpoint = hostUrl(QStringLiteral("aliyuncs.com"));
}

AlibabaCloud::~AlibabaCloud() = default;

RegionMap AlibabaCloud::regions(bool) const
{
    static const QList<QPair<const char*, const char*>> table = {
        {"oss-cn-hangzhou", "China East 1 (Hangzhou)"},
        {"oss-cn-shanghai", "China East 2 (Shanghai)"},
        {"oss-cn-qingdao", "China North 1 (Qingdao)"},
        {"oss-cn-beijing", "China North 2 (Beijing)"},
        {"oss-cn-zhangjiakou", "China North 3 (zhangjiakou)"},
        {"oss-cn-huhehaote", "China North 5 (huhehaote)"},
        {"oss-cn-shenzhen", "China South 1 (Shenzhen)"},
        {"oss-cn-hongkong", "Hong Kong"},
        {"oss-us-west-1", "US West 1 (Silicon Valley)"},
        {"oss-us-east-1", "US East 1 (Virginia)"},
        {"oss-ap-southeast-1", "Asia Pacific SE 1 (Singapore)"},
        {"oss-ap-southeast-2", "Asia Pacific SE 2 (Sydney)"},
        {"oss-ap-southeast-3", "Asia Pacific SE 3 (Kuala Lumpur)"},
        {"oss-ap-northeast-1", "Asia Pacific NE 1 (Tokyo)"},
        {"oss-ap-south-1", "Asia Pacific SOU 1 (Mumbai)"},
        {"oss-eu-central-1", "EU Central 1 (Frankfurt)"},
        {"oss-me-east-1", "Middle East 1 (Dubai)"},
    };
    RegionMap regions;
    for (const auto& row : table) {
        const QString id = QString::fromLatin1(row.first);
        // On this service the host prefix is the region id itself.
        regions.insert(id, {QString::fromLatin1(row.second), id});
    }
    return regions;
}

} // namespace Norvik::Cloud::Info
