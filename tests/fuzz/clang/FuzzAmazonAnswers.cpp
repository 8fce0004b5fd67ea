// The answers that only Amazon S3 gives: the acceleration setting of a bucket and the restore
// state of an object. The first reads a document: no answer exactly when the body is not XML,
// and "enabled" only where the body says "Enabled". The second reads a header.
#include "s3/AmazonS3Answers.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>

#include <cstdio>
#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

// A property that does not hold is a crash of the target, which names the line of the check.
#define check(condition)                                                                                     \
    ((condition)                                                                                             \
         ? void()                                                                                            \
         : (std::fprintf(stderr, "%s:%d: property does not hold\n", __FILE__, __LINE__), std::abort()))

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    NorvikDebug::setThreshold(NorvikDebug::Level::Off);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray body(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const std::optional<bool> enabled = AmazonS3Answers::accelerationEnabled(body);
    QDomDocument document;
    check(enabled.has_value() == document.setContent(body));
    if (enabled && *enabled)
        check(body.contains("Enabled") || body.contains("&#") || body.contains("<![CDATA[") ||
              body.contains("<!ENTITY"));
    const bool finished = AmazonS3Answers::restoreFinished(body);
    check(finished == body.contains("ongoing-request=\"false\""));
    return 0;
}
