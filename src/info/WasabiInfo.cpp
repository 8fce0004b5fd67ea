#include "info/WasabiInfo.h"

#include "info/S3LikeRegionListUpdater.h"

#include <NorvikCore/Version.h>

namespace Norvik::Cloud::Info {

Wasabi::Wasabi(Type type)
    : AmazonS3Like(type)
{
    m_signatures = {V2, V4};
    m_defaultSignature = V4;
    m_maxDeleteCount = 1000;
    m_supportRegions = true;
    m_defaultRegion = QStringLiteral("us-east-1");
    m_verifyHostOnSslCheck = false;
    m_supportSynthetic = true;
    m_syntheticMinBlockSize = 5 * MiB;
    m_supportVersioning = true;
    m_defaultEndpoint = hostUrl(QStringLiteral("wasabisys.com"));
}

Wasabi::~Wasabi() = default;

RegionMap Wasabi::regions(bool update) const
{
    return S3LikeRegionListUpdater::instance(S3LikeRegionListUpdater::Wasabi).currentRegions(update);
}

QString Wasabi::userAgent() const
{
    static const QString text = [] {
        const QVersionNumber version = Core::Version::number();
        return QStringLiteral("Norvik/Backup/%1.%2.%3")
            .arg(version.majorVersion())
            .arg(version.minorVersion())
            .arg(version.microVersion());
    }();
    return text;
}

WasabiStage::WasabiStage(Type type)
    : Wasabi(type)
{
    m_defaultEndpoint = hostUrl(QStringLiteral("wasabibeta.com"));
}

WasabiStage::~WasabiStage() = default;

RegionMap WasabiStage::regions(bool) const
{
    return {
        {QStringLiteral("us-east-1"), {QStringLiteral("US East 1 (N. Virginia)"), QStringLiteral("s3")}},
        {QStringLiteral("us-west-1"), {QStringLiteral("US West (Oregon)"), QStringLiteral("s3.us-west-1")}},
    };
}

NorvikUbWasabi::NorvikUbWasabi()
    : Wasabi(Type::NorvikUbWasabi)
{
}

NorvikUbWasabi::~NorvikUbWasabi() = default;

NorvikUbWasabiStage::NorvikUbWasabiStage()
    : WasabiStage(Type::NorvikUbWasabiStage)
{
}

NorvikUbWasabiStage::~NorvikUbWasabiStage() = default;

} // namespace Norvik::Cloud::Info
