#include "info/AmazonS3LikeInfo.h"

#include <NorvikCore/Version.h>

namespace Norvik::Cloud::Info {

AmazonS3Like::AmazonS3Like(Type type)
    : Base(type)
    , m_signatures{V2}
    , m_defaultRegion(QStringLiteral("us-east-1"))
{
    m_supportEmptyFolder = true;
    m_supportSignedUrl = true;
    m_maxChunkSize = 5 * GiB;
    m_maxFileSize = 5 * TiB;
    m_encryptionContainer = 3;
    m_supportContinueUpload = true;
}

AmazonS3Like::~AmazonS3Like() = default;

QList<AmazonS3Like::Signature> AmazonS3Like::supportSignature() const
{
    return m_signatures;
}

RegionMap AmazonS3Like::regions(bool) const
{
    return {};
}

QString AmazonS3Like::userAgent() const
{
    static const QString text = [] {
        const QVersionNumber version = Core::Version::number();
        return QStringLiteral("Norvik Backup (%1.%2) (https://www.norvik-backup.com)")
            .arg(version.majorVersion())
            .arg(version.minorVersion());
    }();
    return text;
}

QUrl AmazonS3Like::hostUrl(const QString& host)
{
    QUrl url;
    url.setHost(host);
    return url;
}

} // namespace Norvik::Cloud::Info
