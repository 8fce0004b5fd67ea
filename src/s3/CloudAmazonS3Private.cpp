#include "s3/CloudAmazonS3Private.h"

#include "info/AmazonS3Info.h"

#include <NorvikCore/Hash.h>

#include "info/Config.h"

#include <QLocale>

#include <iterator>

namespace Norvik::Cloud::Api {

CloudAmazonS3Private::CloudAmazonS3Private(Type type)
    : CloudAmazonS3LikePrivate(type)
{
    setUsePathStyle(false);
}

CloudAmazonS3Private::~CloudAmazonS3Private() = default;

QPair<QUrl, CloudAmazonS3Private::HeaderMap> CloudAmazonS3Private::signatureAws4(
    RequestType type, const QUrl& url, const QString& bucket, const QString& path, const QUrlQuery& query,
    HeaderMap& headers, bool useRegion, const QDateTime& now, QSharedPointer<QIODevice> body, long long size)
{
    // Set before the base signs, so that it is signed with all the other headers. An empty
    // post gets none.
    if ((type == PUT || type == POST) && size != 0) {
        // Both digests in one pass over the body. The base leaves a payload digest that is
        // already there alone, so a caller's own value still wins.
        Core::Hash::Digest md5(Core::Hash::Algorithm::Md5);
        Core::Hash::Digest sha256(Core::Hash::Algorithm::Sha256);
        const bool hasPayloadDigest = headers.contains("x-amz-content-sha256");
        if (hasPayloadDigest)
            digestRest(body.data(), {&md5});
        else
            digestRest(body.data(), {&md5, &sha256});
        headers.insert("Content-MD5", md5.result().toBase64());
        if (!hasPayloadDigest)
            headers.insert("x-amz-content-sha256", sha256.result().toHex());
    } else if (type == PUT) {
        headers.insert("Content-MD5", QByteArray(Core::Hash::EmptyMd5_Base64));
    }
    return CloudAmazonS3LikePrivate::signatureAws4(type, url, bucket, path, query, headers, useRegion, now,
                                                   body, size);
}

QString CloudAmazonS3Private::signatureAws4DateFormat(const QDateTime& dateTime) const
{
    // The string to sign repeats this text as its date line, so Amazon S3 sees the HTTP date
    // form there too.
    return QLocale(QLocale::English).toString(dateTime, QStringLiteral("ddd, dd MMM yyyy hh:mm:ss ")) +
           QStringLiteral("GMT");
}

bool CloudAmazonS3Private::usePathStyle(const QString& bucket) const
{
    return usePathStyle() || bucket != bucket.toLower();
}

QUrl CloudAmazonS3Private::requestEndpoint(const QString& bucket, bool useRegion)
{
    const QString host = endpoint().host();
    const bool pathStyle = usePathStyle(bucket);
    QUrl url;
    if (!bucket.isEmpty() && !pathStyle) {
        QString prefix;
        if (!useRegion || signature() != Info::AmazonS3Like::V4)
            prefix = QStringLiteral("s3");
        else if (m_useAccelerate)
            prefix = QStringLiteral("s3-accelerate");
        else
            prefix = regions().value(region()).second;
        url = prefix.isEmpty() ? QUrl(QStringLiteral("//%1.s3.%2").arg(bucket, host))
                               : QUrl(QStringLiteral("//%1.%2.%3").arg(bucket, prefix, host));
        url.setScheme(endpoint().scheme());
        return url;
    }

    url = QUrl(QStringLiteral("//s3.%1").arg(host));
    url.setScheme(endpoint().scheme());
    if (pathStyle && signature() == Info::AmazonS3Like::V2)
        url = url.resolved(QUrl(QStringLiteral("./%1/").arg(bucket)));
    return url;
}

bool CloudAmazonS3Private::checkS3AccelerateConfig() const
{
    return true;
}

Info::RegionMap CloudAmazonS3Private::regions()
{
    // Amazon's own list, whatever partition the descriptor is for: the China partition's
    // host already names its region, which must not come twice.
    return Info::AmazonS3().regions(false);
}

} // namespace Norvik::Cloud::Api

namespace Norvik::Cloud::Api {

namespace {

// Configuration value and header value of each storage class, by enum value. The standard
// class sends no header.
struct StorageClassName
{
    const char* config;
    const char* header;
};

constexpr StorageClassName StorageClassNames[] = {
    {"Standard", nullptr},
    {"Standard-IA", "STANDARD_IA"},
    {"RRS", "REDUCED_REDUNDANCY"},
    {"OneZoneIa", "ONEZONE_IA"},
    {"Glacier", "GLACIER"},
    {"IntelligentTiering", "INTELLIGENT_TIERING"},
    {"GlacierDeepArchive", "DEEP_ARCHIVE"},
    {"Glacier-IR", "GLACIER_IR"},
};

} // namespace

bool CloudAmazonS3Private::setConfig(const QMap<QString, QVariant>& config)
{
    namespace Keys = ::Norvik::Cloud::Config::AmazonS3;
    // Switches that the configuration does not name keep their value.
    if (config.contains(Keys::UseAccelerate))
        m_useAccelerate = config.value(Keys::UseAccelerate).toBool();
    if (config.contains(Keys::UseSSE))
        m_useSSE = config.value(Keys::UseSSE).toBool();
    if (!config.contains(Keys::StorageClass::Key)) {
        m_storageClass = 0;
    } else {
        // An unknown class keeps the one before: an object is never written in a class that
        // nobody asked for.
        const QString value = config.value(Keys::StorageClass::Key).toString();
        for (int i = 0; i < int(std::size(StorageClassNames)); ++i) {
            if (value == QLatin1String(StorageClassNames[i].config))
                m_storageClass = i;
        }
    }
    return CloudAmazonS3LikePrivate::setConfig(config);
}

CloudAmazonS3Private::HeaderMap CloudAmazonS3Private::header(const QMap<QString, QVariant>& metaData) const
{
    HeaderMap headers = CloudAmazonS3LikePrivate::header(metaData);
    if (m_storageClass > 0 && m_storageClass < int(std::size(StorageClassNames)))
        headers.insert("x-amz-storage-class", StorageClassNames[m_storageClass].header);
    if (m_useSSE)
        headers.insert("x-amz-server-side-encryption", "AES256");
    return headers;
}

} // namespace Norvik::Cloud::Api
