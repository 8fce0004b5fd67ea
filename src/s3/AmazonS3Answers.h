#pragma once

#include <QByteArray>

#include <optional>

// Readers of the answers that only Amazon S3 gives, apart from the connection so that they can
// be tried on any input.
namespace Norvik::Cloud::Api::AmazonS3Answers {

// Whether an "AccelerateConfiguration" answer says "Enabled" in a "Status" of plain text.
// Without a "Status" (acceleration never set) false; a body that is not XML gives no answer.
std::optional<bool> accelerationEnabled(const QByteArray& body);

// Whether an "x-amz-restore" header tells of a finished restore.
bool restoreFinished(const QByteArray& restoreHeader);

} // namespace Norvik::Cloud::Api::AmazonS3Answers
