#include "varnek/files/FileStamp.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace varnek::files {

namespace {

std::int64_t nanoseconds(const statx_timestamp& time) noexcept {
    return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

} // namespace

FileStamp FileStamp::of(const std::filesystem::path& file) noexcept {
    struct statx status {};
    if (::statx(AT_FDCWD, file.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return {};
    FileStamp stamp;
    stamp.exists = true;
    stamp.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    stamp.fileNumber = status.stx_ino;
    stamp.bytes = status.stx_size;
    stamp.modified = nanoseconds(status.stx_mtime);
    stamp.changed = nanoseconds(status.stx_ctime);
    if ((status.stx_mask & STATX_BTIME) != 0)
        stamp.born = nanoseconds(status.stx_btime);
    return stamp;
}

} // namespace varnek::files
