#pragma once

#include "info/AmazonS3LikeInfo.h"

namespace Norvik::Cloud::Info {

// Amazon S3 itself. Its region list can be refreshed from the product's web service. Host
// names are chosen by the connection, so supportRegions() stays false.
class AmazonS3 : public AmazonS3Like
{
public:
    explicit AmazonS3(Type type = Type::AmazonS3);
    ~AmazonS3() override;

    RegionMap regions(bool update) const override;
    QString userAgent() const override;
};

// Amazon's China partition, which has one region.
class AmazonS3Chinese : public AmazonS3
{
public:
    AmazonS3Chinese();
    ~AmazonS3Chinese() override;

    RegionMap regions(bool update) const override;
};

class NorvikUbAmazonS3 : public AmazonS3
{
public:
    NorvikUbAmazonS3();
    ~NorvikUbAmazonS3() override;
};

} // namespace Norvik::Cloud::Info
