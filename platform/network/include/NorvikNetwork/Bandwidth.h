#pragma once

#include <QMutex>
#include <QtGlobal>

namespace Norvik::Network::Utility {

// Process-wide token buckets for outgoing (upload) and incoming (download) traffic. All
// transfers of the process share them. A limit of 0 (the default) means unlimited.
class Bandwidth
{
public:
    enum Direction
    {
        Upload,
        Download
    };

    static Bandwidth& instance();

    void setLimit(Direction direction, qint64 bytesPerSecond);
    qint64 limit(Direction direction) const;

    // How many of wanted bytes may be written to a storage now, without waiting; possibly
    // fewer than asked, zero or less when the budget is used up. Counts against Upload.
    long long fileSystemAllowed(long long wanted);
    // Waits until at least one byte may pass and takes up to wanted bytes; returns the count
    // taken. Returns 0 at once when transfers are terminated.
    long long acquire(Direction direction, long long wanted);
    // Returns bytes taken by acquire() or fileSystemAllowed() that were not used after all.
    void giveBack(Direction direction, long long unused);

private:
    Bandwidth() = default;
    struct Bucket
    {
        qint64 limit = 0;
        double tokens = 0;
        qint64 lastRefillNs = 0;
    };
    long long take(Bucket& bucket, long long wanted);

    mutable QMutex m_mutex;
    Bucket m_buckets[2];
};

} // namespace Norvik::Network::Utility
