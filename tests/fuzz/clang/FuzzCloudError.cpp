// Error records come back from clients as text, and the records' response readers see whatever
// a service answers. Neither may crash, and a record that reads must write itself back to a
// text that reads the same.
#include "FuzzSupport.h"
#include "connection/AmazonCloudError.h"
#include "connection/AmazonErrorResponseParser.h"
#include "connection/BackBlazeCloudError.h"
#include "connection/BackBlazeResponseParser.h"
#include "connection/CloudErrorFactory.h"
#include "connection/FileSourceCloudError.h"

#include <NorvikCore/NorvikDebug.h>

#include <cstdlib>

using namespace Norvik::Cloud;

namespace {

void checkRoundTrip(const QSharedPointer<Error::CloudErrorBase>& record)
{
    if (!record)
        return;
    const QByteArray text = record->toByteArray();
    const auto again = Error::CloudErrorFactory()(text);
    if (!again || again->type() != record->type() || again->message() != record->message() ||
        again->rawBody() != record->rawBody() || again->toByteArray() != text)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    if (hasDuplicateMember(input) || hasDuplicateMember(QByteArray::fromBase64(input)))
        return 0;

    // As a client would pass it, and as the JSON inside it, which random bytes rarely reach.
    checkRoundTrip(Error::CloudErrorFactory()(input));
    checkRoundTrip(Error::CloudErrorFactory()(input.toBase64()));

    Error::FileSource::SourceFileDeleted deleted;
    deleted.fromByteArray(input.toBase64());
    Error::Amazon::RequestTimeTooSkewed skewed;
    if (skewed.fromByteArray(input.toBase64()))
        (void)skewed.diffSecs();

    // As a service answer.
    const Error::Amazon::AmazonErrorResponseParser s3(input);
    (void)s3.other();
    if (auto record = Error::Amazon::RequestTimeTooSkewed::fromResponse(input)) {
        (void)record->diffSecs();
        checkRoundTrip(record);
    }
    checkRoundTrip(Error::Amazon::S3TransferAcceleration::fromResponse(input));
    checkRoundTrip(Error::BackBlaze::FileNotPresent::fromResponse(input));
    checkRoundTrip(Error::BackBlaze::PathContainsIllegalSymbols::fromResponse(input));
    return 0;
}
