#include "settingscore/settings/file/WritePermission.hpp"

#include "settingscore/settings/file/FileLog.hpp"

#include <sys/stat.h>
#include <unistd.h>

namespace settings::core::detail {

namespace {

constexpr mode_t anyWritePermission = S_IWUSR | S_IWGRP | S_IWOTH;

bool change(const std::filesystem::path& file, mode_t add, mode_t take) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 &&
           ::chmod(file.c_str(), ((status.st_mode | add) & ~take) & 07777) == 0;
}

} // namespace

bool mayBeWritten(const std::filesystem::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0)
        return true;
    return (status.st_mode & anyWritePermission) != 0 && ::access(file.c_str(), W_OK) == 0;
}

WritePermission::WritePermission(const std::filesystem::path& file)
    : file_(file), isGiven_(change(file_, S_IWUSR, 0)) {}

WritePermission::~WritePermission() {
    try {
        if (isGiven_ && !change(file_, 0, S_IWUSR))
            VARNEK_LOG(fileLog, error)
                << "the write permission could not be taken away again: " << file_.string();
    } catch (...) { // a line of the log is not worth the process
    }
}

} // namespace settings::core::detail
