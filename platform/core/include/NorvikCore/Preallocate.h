#pragma once

namespace Norvik::Utility {

// Claims size bytes of disk space for the open file descriptor fd, so that a full disk fails
// now rather than half way through a write. Returns false and leaves errno set on failure;
// file systems without native support fall back to writing zeros.
bool preallocateFile(int fd, unsigned long long size);

} // namespace Norvik::Utility
