#pragma once

#include "info/AmazonS3LikeInfo.h"

#include <QMutex>
#include <QString>

namespace Norvik::Cloud::Info {

// The region list of a service whose regions appear faster than new versions of this library.
// One copy is built in as a resource; a fresher one is downloaded from the product's web
// service the first time a configuration names a region that the list at hand doesn't know,
// and is then kept for the life of the process.
//
// File format (also that of the downloads):
//   <RegionList><Regions>
//     <Region><Id>6</Id><Name>US_WEST_2</Name><DisplayName>US West (Oregon)</DisplayName>
//             <Endpoint>us-west-2</Endpoint></Region> ...
//   </Regions></RegionList>
// "Endpoint" holds the region id. The host prefix is never read: it is "s3" for us-east-1 and
// "s3.<id>" for every other region.
class S3LikeRegionListUpdater
{
public:
    enum Type
    {
        AmazonS3 = 0,
        Wasabi = 1,
    };

    // The process-wide list of a service: AmazonS3, or Wasabi for any other value.
    static S3LikeRegionListUpdater& instance(Type type);

    // url is the download address, resourceName the built-in list, which is read at once.
    S3LikeRegionListUpdater(const QString& url, const QString& resourceName);
    S3LikeRegionListUpdater(const S3LikeRegionListUpdater&) = delete;
    S3LikeRegionListUpdater& operator=(const S3LikeRegionListUpdater&) = delete;
    virtual ~S3LikeRegionListUpdater();

    // Fills out from a region list. False when the text is not XML or lacks "RegionList" or
    // "Regions"; out is then empty. An empty "Regions" is a valid, empty list.
    static bool parse(const QByteArray& xml, RegionMap& out);

    // Downloads the list again, replacing the fetched one. The lock is held for the whole
    // download, so that readers wait for its outcome. False, with the fetched list empty,
    // when the download or its parsing failed.
    bool reload();

    // The downloaded list: empty until a download has succeeded. The reference stays valid,
    // but a later reload() may change what it refers to.
    const RegionMap& regions() const;
    // The built-in list.
    const RegionMap& defaultRegions() const;

    // The list to use: the downloaded one if there is one; otherwise, when update is true, the
    // result of a download; otherwise, or when that fails or is empty, the built-in one.
    RegionMap currentRegions(bool update);

    const QString& url() const { return m_url; }

protected:
    // Downloads and parses into the fetched list. The caller holds the lock.
    bool load();

private:
    mutable QMutex m_mutex;
    RegionMap m_regions;
    RegionMap m_defaultRegions;
    QString m_url;
};

} // namespace Norvik::Cloud::Info
