// Region lists are downloaded from the web: a broken or hostile one must be refused or read,
// never crash, and whatever is read must follow the prefix rule.
#include "FuzzSupport.h"
#include "info/S3LikeRegionListUpdater.h"

#include <NorvikCore/NorvikDebug.h>

#include <cstdlib>

using namespace Norvik::Cloud;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    Info::RegionMap regions;
    if (!Info::S3LikeRegionListUpdater::parse(input, regions)) {
        if (!regions.isEmpty())
            std::abort();
        return 0;
    }
    for (auto it = regions.constBegin(); it != regions.constEnd(); ++it) {
        if (it.key().isEmpty())
            std::abort();
        const QString expected =
            it.key() == QLatin1String("us-east-1") ? QStringLiteral("s3") : QStringLiteral("s3.") + it.key();
        if (it.value().second != expected)
            std::abort();
    }
    return 0;
}
