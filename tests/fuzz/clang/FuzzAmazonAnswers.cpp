// The answers that only Amazon S3 gives: the acceleration setting of a bucket and the restore
// state of an object. The first reads a document: no answer exactly when the body is not XML,
// and "enabled" only where the body says "Enabled". The second reads a header.
#include "FuzzSupport.h"
#include "s3/AmazonS3Answers.h"

#include <NorvikCore/NorvikDebug.h>

#include <QDomDocument>

#include <cstdio>
#include <cstdlib>

using namespace Norvik::Cloud::Api;

namespace {

} // namespace

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
