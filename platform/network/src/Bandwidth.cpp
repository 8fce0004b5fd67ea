#include "NorvikNetwork/Bandwidth.h"

#include "NorvikNetwork/ClientCurl.h"

#include <QMutexLocker>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

namespace Norvik::Network::Utility {

namespace {

constexpr qint64 MinimumBurst = 16 * 1024;
// The longest a waiting transfer sleeps before it looks again (and at terminate()).
constexpr qint64 LongestSleepNs = 20'000'000;
constexpr qint64 ShortestSleepNs = 1'000'000;
// acquire() wakes when this much may pass, so that a slow limit does not cut the stream
// into single bytes.
constexpr long long PreferredChunk = 4096;

qint64 nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// A tenth of a second of traffic may pass in one burst.
double capacity(qint64 limit)
{
    return static_cast<double>(std::max(limit / 10, MinimumBurst));
}

} // namespace

Bandwidth& Bandwidth::instance()
{
    static Bandwidth bandwidth;
    return bandwidth;
}

void Bandwidth::setLimit(Direction direction, qint64 bytesPerSecond)
{
    QMutexLocker lock(&m_mutex);
    Bucket& bucket = m_buckets[direction];
    bucket.limit = std::max<qint64>(0, bytesPerSecond);
    // A new limit starts with an empty bucket, so that it holds from the first byte on.
    bucket.tokens = 0;
    bucket.lastRefillNs = nowNs();
}

qint64 Bandwidth::limit(Direction direction) const
{
    QMutexLocker lock(&m_mutex);
    return m_buckets[direction].limit;
}

long long Bandwidth::fileSystemAllowed(long long wanted)
{
    QMutexLocker lock(&m_mutex);
    return take(m_buckets[Upload], wanted);
}

long long Bandwidth::acquire(Direction direction, long long wanted)
{
    if (wanted <= 0)
        return 0;
    for (;;) {
        if (ClientCurl::isTermintated())
            return 0;
        qint64 sleepNs = 0;
        {
            QMutexLocker lock(&m_mutex);
            Bucket& bucket = m_buckets[direction];
            const long long taken = take(bucket, wanted);
            if (taken > 0)
                return taken;
            const double missing = static_cast<double>(std::min(wanted, PreferredChunk)) - bucket.tokens;
            sleepNs = static_cast<qint64>(missing * 1e9 / static_cast<double>(bucket.limit));
        }
        std::this_thread::sleep_for(
            std::chrono::nanoseconds(std::clamp(sleepNs, ShortestSleepNs, LongestSleepNs)));
    }
}

void Bandwidth::giveBack(Direction direction, long long unused)
{
    if (unused <= 0)
        return;
    QMutexLocker lock(&m_mutex);
    Bucket& bucket = m_buckets[direction];
    if (bucket.limit > 0)
        bucket.tokens = std::min(bucket.tokens + static_cast<double>(unused), capacity(bucket.limit));
}

long long Bandwidth::take(Bucket& bucket, long long wanted)
{
    if (bucket.limit <= 0)
        return wanted;
    const qint64 now = nowNs();
    const double elapsed = static_cast<double>(now - bucket.lastRefillNs) / 1e9;
    bucket.lastRefillNs = now;
    bucket.tokens =
        std::min(bucket.tokens + elapsed * static_cast<double>(bucket.limit), capacity(bucket.limit));

    const long long available = static_cast<long long>(std::floor(bucket.tokens));
    if (available <= 0 || wanted <= 0)
        return std::min(available, wanted);
    const long long taken = std::min(available, wanted);
    bucket.tokens -= static_cast<double>(taken);
    return taken;
}

} // namespace Norvik::Network::Utility
