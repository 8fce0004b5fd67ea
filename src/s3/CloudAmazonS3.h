#pragma once

#include "connection/IArchive.h"
#include "s3/CloudAmazonS3Like.h"

namespace Norvik::Cloud::Api {

class CloudAmazonS3Private;

// Amazon S3 itself: the S3 connection with storage classes, server-side encryption, transfer
// acceleration, restores from the archive classes and bucket lifecycle policies. Reached over
// https unless the configuration says otherwise.
class CloudAmazonS3 : public CloudAmazonS3Like, public IArchive
{
    Q_DECLARE_TR_FUNCTIONS(CloudAmazonS3)

public:
    // The class of new objects; the configuration names them "Standard", "Standard-IA", "RRS",
    // "OneZoneIa", "Glacier", "IntelligentTiering", "GlacierDeepArchive" and "Glacier-IR".
    enum StorageClass
    {
        Standard = 0,
        StandardIA = 1,
        ReducedRedundancy = 2,
        OneZoneIA = 3,
        Glacier = 4,
        IntelligentTiering = 5,
        GlacierDeepArchive = 6,
        GlacierInstantRetrieval = 7,
    };

    CloudAmazonS3();
    explicit CloudAmazonS3(Type type);
    CloudAmazonS3(Type type, CloudAmazonS3Private* d);
    ~CloudAmazonS3() override;

    // Refused for an empty map and for a private object of another kind.
    bool setConfig(const QMap<QString, QVariant>& config) override;
    // As the base; then, with version 4, a wish for acceleration stays only where the bucket
    // has it enabled.
    void checkConfig(const QString& bucket, QMap<QString, QVariant>& config) override;
    bool delete_(const QString& bucket, const QJsonObject& object) override;
    // In batches, through deleteMultiple().
    QJsonArray delete_(const QString& bucket, const QJsonArray& objects) override;
    // Needs a region that the service offers; buckets outside "us-east-1" name it in the body.
    bool createContainers(const QJsonObject& params) override;
    QUrl defaultEndpoint() const override;

    // Requests a restore with the options of an ArchiveAmazonS3Option in JSON. An Expedited
    // restore that the object's class does not allow becomes a Standard one.
    void prepareForDownload(const QString& bucket, const QString& path, const QJsonObject& options) override;
    // True for an object outside the archive classes, or one whose restore has finished.
    bool checkReadyForDownload(const QString& bucket, const QString& path) override;
    void finalizeDownloaded(const QString& bucket, const QString& path) override;

    // The bucket's lifecycle document as the service gives it; an empty text without one.
    QByteArray loadLifecyclePolicy(const QString& bucket);
    bool saveLifecyclePolicy(const QString& bucket, const QByteArray& xml);
    // A bucket without a policy counts as done.
    bool deleteLifecyclePolicy(const QString& bucket);
    // Whether transfer acceleration is enabled on the bucket.
    bool checkAccelerate(const QString& bucket);

private:
    CloudAmazonS3Private* amazon() const;
};

} // namespace Norvik::Cloud::Api
