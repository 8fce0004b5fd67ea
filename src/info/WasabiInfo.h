#pragma once

#include "info/AmazonS3LikeInfo.h"

namespace Norvik::Cloud::Info {

// Wasabi: an S3 service whose host varies by region and whose region list can be refreshed
// from the product's web service.
class Wasabi : public AmazonS3Like
{
public:
    explicit Wasabi(Type type = Type::Wasabi);
    ~Wasabi() override;

    RegionMap regions(bool update) const override;
    QString userAgent() const override;
};

// Wasabi's staging system, with a fixed list of two regions.
class WasabiStage : public Wasabi
{
public:
    explicit WasabiStage(Type type = Type::WasabiStage);
    ~WasabiStage() override;

    RegionMap regions(bool update) const override;
};

class NorvikUbWasabi : public Wasabi
{
public:
    NorvikUbWasabi();
    ~NorvikUbWasabi() override;
};

class NorvikUbWasabiStage : public WasabiStage
{
public:
    NorvikUbWasabiStage();
    ~NorvikUbWasabiStage() override;
};

} // namespace Norvik::Cloud::Info
