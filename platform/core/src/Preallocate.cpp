#include "NorvikCore/Preallocate.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Norvik::Utility {

namespace {

// posix_fallocate emulation for file systems that lack fallocate(2): write zeros past the
// current end, which claims the blocks just the same.
bool writeZeros(int fd, off_t from, off_t to)
{
    static const char zeros[65536] = {};
    while (from < to) {
        const size_t chunk = static_cast<size_t>(std::min<off_t>(to - from, static_cast<off_t>(sizeof zeros)));
        const ssize_t written = ::pwrite(fd, zeros, chunk, from);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        from += written;
    }
    return true;
}

} // namespace

bool preallocateFile(int fd, unsigned long long size)
{
    if (fd < 0) {
        errno = EBADF;
        return false;
    }
    if (size == 0)
        return true;
    if (size > static_cast<unsigned long long>(LLONG_MAX)) {
        errno = EFBIG;
        return false;
    }
    const int rc = ::posix_fallocate(fd, 0, static_cast<off_t>(size));
    if (rc == 0)
        return true;
    if (rc != EOPNOTSUPP && rc != EINVAL) {
        errno = rc;
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0)
        return false;
    if (st.st_size >= static_cast<off_t>(size))
        return true;
    return writeZeros(fd, st.st_size, static_cast<off_t>(size));
}

} // namespace Norvik::Utility
