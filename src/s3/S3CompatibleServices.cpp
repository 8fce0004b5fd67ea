#include "s3/S3CompatibleServices.h"

#include "s3/CloudAmazonS3LikePrivate.h"

#include <QJsonArray>

namespace Norvik::Cloud::Api {

#define NORVIK_S3_SERVICE_BODY(Name, TypeValue)                                                              \
    Name::Name()                                                                                             \
        : CloudAmazonS3Like(Type::TypeValue)                                                                 \
    {                                                                                                        \
    }                                                                                                        \
    Name::~Name() = default;

#define NORVIK_S3_BATCH_SERVICE_BODY(Name, TypeValue)                                                        \
    Name::Name()                                                                                             \
        : CloudAmazonS3Like(Type::TypeValue)                                                                 \
    {                                                                                                        \
        d->setUsePathStyle(false);                                                                           \
    }                                                                                                        \
    Name::~Name() = default;                                                                                 \
    QJsonArray Name::delete_(const QString& bucket, const QJsonArray& objects)                               \
    {                                                                                                        \
        return deleteMultiple(bucket, objects);                                                              \
    }

NORVIK_S3_SERVICE_BODY(CloudScality, Scality)
NORVIK_S3_SERVICE_BODY(CloudDreamObjects, DreamObjects)
NORVIK_S3_SERVICE_BODY(CloudCloudian, Cloudian)
NORVIK_S3_SERVICE_BODY(CloudThinkOn, ThinkOn)
NORVIK_S3_SERVICE_BODY(CloudAruba, Aruba)
NORVIK_S3_SERVICE_BODY(CloudTiscali, Tiscali)
NORVIK_S3_SERVICE_BODY(CloudSeeweb, Seeweb)
NORVIK_S3_SERVICE_BODY(CloudCenturyLink, CenturyLink)
NORVIK_S3_SERVICE_BODY(CloudDunkel, Dunkel)
NORVIK_S3_SERVICE_BODY(CloudConnectria, Connectria)
NORVIK_S3_SERVICE_BODY(CloudHostEurope, HostEurope)
NORVIK_S3_SERVICE_BODY(CloudGreenQloud, GreenQloud)
NORVIK_S3_SERVICE_BODY(CloudConstant, Constant)
NORVIK_S3_SERVICE_BODY(CloudWebzilla, Webzilla)
NORVIK_S3_SERVICE_BODY(CloudVerizon, Verizon)
NORVIK_S3_BATCH_SERVICE_BODY(CloudWasabi, Wasabi)
NORVIK_S3_BATCH_SERVICE_BODY(CloudAlibaba, AlibabaCloud)
NORVIK_S3_BATCH_SERVICE_BODY(CloudNorvikUbWasabi, NorvikUbWasabi)
NORVIK_S3_BATCH_SERVICE_BODY(CloudNorvikUbWasabiStage, NorvikUbWasabiStage)
NORVIK_S3_BATCH_SERVICE_BODY(CloudWasabiStage, WasabiStage)

#undef NORVIK_S3_SERVICE_BODY
#undef NORVIK_S3_BATCH_SERVICE_BODY

CloudMinio::CloudMinio()
    : CloudAmazonS3Like(Type::Minio)
{
    d->setSignature(d->cloudInfo()->defaultSignature());
    d->setUsePathStyle(true);
}

CloudMinio::~CloudMinio() = default;

CloudAmazonS3Chinese::CloudAmazonS3Chinese()
    : CloudAmazonS3(Type::AmazonS3Chinese)
{
    d->setRegion(QStringLiteral("cn-north-1"));
}

CloudAmazonS3Chinese::~CloudAmazonS3Chinese() = default;

CloudNorvikUbAmazonS3::CloudNorvikUbAmazonS3()
    : CloudAmazonS3(Type::NorvikUbAmazonS3)
{
    d->setUsePathStyle(false);
}

CloudNorvikUbAmazonS3::~CloudNorvikUbAmazonS3() = default;

} // namespace Norvik::Cloud::Api
