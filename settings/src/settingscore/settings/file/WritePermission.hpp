/// Whether a file may be written, and the owner's permission to write it, lent for a while.
#pragma once

#include <filesystem>

namespace settings::core::detail {

/// The administrator may write every file; one without any write permission is protected from him as well. A
/// file that is not there is a matter of its folder.
bool mayBeWritten(const std::filesystem::path& file);

/// Gives a file the owner's write permission for as long as it lives.
class WritePermission {
  public:
    explicit WritePermission(const std::filesystem::path& file);
    WritePermission(const WritePermission&) = delete;
    WritePermission& operator=(const WritePermission&) = delete;
    /// A permission that cannot be taken away again is logged.
    ~WritePermission();

    /// False: this user may not change the permissions of the file.
    bool isGiven() const noexcept { return isGiven_; }

  private:
    const std::filesystem::path file_;
    const bool isGiven_;
};

} // namespace settings::core::detail
