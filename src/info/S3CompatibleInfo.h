#pragma once

#include "info/AmazonS3LikeInfo.h"

namespace Norvik::Cloud::Info {

// The S3-compatible services that differ from the plain protocol in more than their type.

class Minio : public AmazonS3Like
{
public:
    Minio();
    ~Minio() override;
};

class DreamObjects : public AmazonS3Like
{
public:
    DreamObjects();
    ~DreamObjects() override;
};

class ThinkOn : public AmazonS3Like
{
public:
    ThinkOn();
    ~ThinkOn() override;
};

class Verizon : public AmazonS3Like
{
public:
    Verizon();
    ~Verizon() override;
};

// Alibaba Cloud OSS: version 4 signatures only, and a host per region.
class AlibabaCloud : public AmazonS3Like
{
public:
    AlibabaCloud();
    ~AlibabaCloud() override;

    RegionMap regions(bool update) const override;
};

} // namespace Norvik::Cloud::Info
