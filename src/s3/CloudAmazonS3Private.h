#pragma once

#include "s3/CloudAmazonS3LikePrivate.h"

namespace Norvik::Cloud::Api {

// The private side of Amazon S3 itself. Signing differs from the other services of the
// family in two places: version 4 dates its requests in the HTTP date form, and puts and posts
// carry a "Content-MD5" that is signed with the other headers. Buckets are addressed by
// virtual host, with region and acceleration prefixes.
class CloudAmazonS3Private : public CloudAmazonS3LikePrivate
{
public:
    explicit CloudAmazonS3Private(Type type = Type::AmazonS3);
    ~CloudAmazonS3Private() override;

    using CloudAmazonS3LikePrivate::usePathStyle;

    QPair<QUrl, HeaderMap> signatureAws4(RequestType type, const QUrl& url, const QString& bucket,
                                         const QString& path, const QUrlQuery& query, HeaderMap& headers,
                                         bool useRegion, const QDateTime& now, QSharedPointer<QIODevice> body,
                                         long long size) override;
    QString signatureAws4DateFormat(const QDateTime& dateTime) const override;
    QUrl requestEndpoint(const QString& bucket, bool useRegion) override;
    bool usePathStyle(const QString& bucket) const override;

    // Whether transfer acceleration can be asked of the service for a bucket.
    virtual bool checkS3AccelerateConfig() const;
    // Region id to display name and host prefix.
    virtual Info::RegionMap regions();

    bool useAccelerate() const { return m_useAccelerate; }
    void setUseAccelerate(bool useAccelerate) { m_useAccelerate = useAccelerate; }

    // Storage class, encryption and acceleration; then the keys of every S3 service.
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // The base's headers and, for new objects, "x-amz-storage-class" unless the class is the
    // standard one, and "x-amz-server-side-encryption" when asked for.
    HeaderMap header(const QMap<QString, QVariant>& metaData) const override;

    bool useSSE() const { return m_useSSE; }
    void setUseSSE(bool useSSE) { m_useSSE = useSSE; }
    // The enum values of CloudAmazonS3::StorageClass.
    int storageClass() const { return m_storageClass; }
    void setStorageClass(int storageClass) { m_storageClass = storageClass; }

private:
    bool m_useAccelerate = false;
    bool m_useSSE = false;
    int m_storageClass = 0;
};

} // namespace Norvik::Cloud::Api
