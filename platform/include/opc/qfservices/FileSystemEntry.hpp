/// One file or folder of a package.
#pragma once

#include <string>
#include <utility>

namespace opc::qfservices {

/// A value; says nothing about whether the entry still exists.
class FileSystemEntry {
  public:
    FileSystemEntry(std::u16string pathName, bool folder) : pathName_(std::move(pathName)), folder_(folder) {}

    bool isFolder() const noexcept { return folder_; }
    /// The absolute name, without a slash at the end ("/settingstree"); "/" for the root.
    const std::u16string& getPathName() const noexcept { return pathName_; }
    /// The last segment; empty for the root.
    std::u16string getName() const { return pathName_.substr(pathName_.rfind(u'/') + 1); }

    friend bool operator==(const FileSystemEntry&, const FileSystemEntry&) = default;

  private:
    std::u16string pathName_;
    bool folder_;
};

} // namespace opc::qfservices
