#pragma once

#include "s3/CloudAmazonS3.h"
#include "s3/CloudAmazonS3Like.h"

// The S3-compatible services. Most differ from the plain S3 connection only in their type
// number, which selects their descriptor; the few that do more say so below.
namespace Norvik::Cloud::Api {

#define NORVIK_S3_SERVICE(Name)                                                                              \
    class Name : public CloudAmazonS3Like                                                                    \
    {                                                                                                        \
    public:                                                                                                  \
        Name();                                                                                              \
        ~Name() override;                                                                                    \
    };

// Services addressed by virtual host, which delete in batches.
#define NORVIK_S3_BATCH_SERVICE(Name)                                                                        \
    class Name : public CloudAmazonS3Like                                                                    \
    {                                                                                                        \
    public:                                                                                                  \
        Name();                                                                                              \
        ~Name() override;                                                                                    \
        using CloudAmazonS3Like::delete_;                                                                    \
        QJsonArray delete_(const QString& bucket, const QJsonArray& objects) override;                       \
    };

NORVIK_S3_SERVICE(CloudScality)
NORVIK_S3_SERVICE(CloudDreamObjects)
NORVIK_S3_SERVICE(CloudCloudian)
NORVIK_S3_SERVICE(CloudThinkOn)
NORVIK_S3_SERVICE(CloudAruba)
NORVIK_S3_SERVICE(CloudTiscali)
NORVIK_S3_SERVICE(CloudSeeweb)
NORVIK_S3_SERVICE(CloudCenturyLink)
// Signs as its descriptor says (version 4) and keeps the bucket in the path.
NORVIK_S3_SERVICE(CloudMinio)
NORVIK_S3_SERVICE(CloudDunkel)
NORVIK_S3_SERVICE(CloudConnectria)
NORVIK_S3_SERVICE(CloudHostEurope)
NORVIK_S3_SERVICE(CloudGreenQloud)
NORVIK_S3_SERVICE(CloudConstant)
NORVIK_S3_SERVICE(CloudWebzilla)
NORVIK_S3_SERVICE(CloudVerizon)
NORVIK_S3_BATCH_SERVICE(CloudWasabi)
NORVIK_S3_BATCH_SERVICE(CloudAlibaba)
NORVIK_S3_BATCH_SERVICE(CloudNorvikUbWasabi)
NORVIK_S3_BATCH_SERVICE(CloudNorvikUbWasabiStage)
NORVIK_S3_BATCH_SERVICE(CloudWasabiStage)

#undef NORVIK_S3_SERVICE
#undef NORVIK_S3_BATCH_SERVICE

// Amazon's China partition: one region, "cn-north-1".
class CloudAmazonS3Chinese : public CloudAmazonS3
{
public:
    CloudAmazonS3Chinese();
    ~CloudAmazonS3Chinese() override;
};

class CloudNorvikUbAmazonS3 : public CloudAmazonS3
{
public:
    CloudNorvikUbAmazonS3();
    ~CloudNorvikUbAmazonS3() override;
};

} // namespace Norvik::Cloud::Api
