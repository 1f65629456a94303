#include "varnek/files/FileStamp.hpp"

#include <sys/stat.h>

namespace varnek::files {

namespace {

std::int64_t nanoseconds(const timespec& time) noexcept {
    return std::int64_t(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

} // namespace

FileStamp FileStamp::of(const std::filesystem::path& file) noexcept {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0)
        return {};
    return {true,
            status.st_dev,
            status.st_ino,
            static_cast<std::uint64_t>(status.st_size),
            nanoseconds(status.st_mtim),
            nanoseconds(status.st_ctim)};
}

} // namespace varnek::files
