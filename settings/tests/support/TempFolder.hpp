/// A folder that goes away with everything in it.
#pragma once

#include <sys/resource.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace settings::test {

class TempFolder {
  public:
    TempFolder() : TempFolder(std::filesystem::temp_directory_path()) {}
    explicit TempFolder(const std::filesystem::path& parent);
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder();

    const std::filesystem::path& path() const noexcept { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

/// While it lives no file of this process can grow: every write to one fails, as on a full disk.
class NoRoomForFiles {
  public:
    NoRoomForFiles();
    NoRoomForFiles(const NoRoomForFiles&) = delete;
    NoRoomForFiles& operator=(const NoRoomForFiles&) = delete;
    ~NoRoomForFiles();

  private:
    rlimit limit_{};
    void (*before_)(int);
};

/// A place for folders that are written to very often: in memory where the system has one.
std::filesystem::path quickPlace();

std::string bytesOf(const std::filesystem::path& file);
void writeBytes(const std::filesystem::path& file, std::string_view bytes);
/// The names in a folder, sorted.
std::vector<std::string> namesIn(const std::filesystem::path& folder);

} // namespace settings::test
