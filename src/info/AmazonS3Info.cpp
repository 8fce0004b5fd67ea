#include "info/AmazonS3Info.h"

#include "info/S3LikeRegionListUpdater.h"

#include <NorvikCore/Version.h>

namespace Norvik::Cloud::Info {

AmazonS3::AmazonS3(Type type)
    : AmazonS3Like(type)
{
    m_signatures = {V2, V4};
    m_defaultSignature = V4;
    m_maxDeleteCount = 1000;
    m_supportArchive = true;
    m_verifyHostOnSslCheck = false;
    m_supportSynthetic = true;
    m_syntheticMinBlockSize = 5 * MiB;
    m_supportVersioning = true;
    m_defaultEndpoint = hostUrl(QStringLiteral("amazonaws.com"));
}

AmazonS3::~AmazonS3() = default;

RegionMap AmazonS3::regions(bool update) const
{
    return S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::AmazonS3).currentRegions(update);
}

QString AmazonS3::userAgent() const
{
    static const QString text = [] {
        const QVersionNumber version = Core::Version::number();
        return QStringLiteral("APN/1.0 Norvik/1.0 Backup/%1.%2")
            .arg(version.majorVersion())
            .arg(version.minorVersion());
    }();
    return text;
}

AmazonS3Chinese::AmazonS3Chinese()
    : AmazonS3(Type::AmazonS3Chinese)
{
    // The region's own host: "s3." and a bucket are put in front of it.
    m_defaultEndpoint = hostUrl(QStringLiteral("cn-north-1.amazonaws.com.cn"));
    m_defaultRegion = QStringLiteral("cn-north-1");
}

AmazonS3Chinese::~AmazonS3Chinese() = default;

RegionMap AmazonS3Chinese::regions(bool) const
{
    return {{QStringLiteral("cn-north-1"), {QStringLiteral("China"), QStringLiteral("cn-north-1")}}};
}

NorvikUbAmazonS3::NorvikUbAmazonS3()
    : AmazonS3(Type::NorvikUbAmazonS3)
{
}

NorvikUbAmazonS3::~NorvikUbAmazonS3() = default;

} // namespace Norvik::Cloud::Info
