#pragma once

#include <QString>

namespace Norvik::Cloud {

// Per-operation keys that live in the configuration map beside the connection's keys, and so
// reach every job document.
namespace OperationConfig {
// Read by job functions from each job document; empty when missing.
extern const QString ContainerName;
// Part size of a multipart upload, read from the operation's configuration.
extern const QString ChunkSize;
} // namespace OperationConfig

} // namespace Norvik::Cloud
