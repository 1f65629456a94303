/// The typed failure of loading a module or finding something in it.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace varnek::modules {

/// Logged and compared across releases: never renumber.
enum class ModuleErrorKind : std::uint8_t {
    invalidName = 0,   // not a plain name, or not an absolute path
    notFound = 1,      // no such file
    leavesFolder = 2,  // a link that leads out of the folder
    loadFailed = 3,    // the system refuses the file
    symbolMissing = 4, // the module itself has no symbol of that name
};

/// what() reads `cannot <operation> "<path>": <cause>`. Immutable.
class VARNEK_EXPORT ModuleError : public exception::Cloneable<ModuleError, exception::Exception> {
  public:
    ModuleError(ModuleErrorKind kind, std::string_view operation, std::filesystem::path path,
                std::string_view cause);

    const char* what() const noexcept override { return data_->text.c_str(); }
    ModuleErrorKind kind() const noexcept { return data_->kind; }
    const std::filesystem::path& path() const noexcept { return data_->path; }
    /// What the system says, as far as it was asked.
    const std::string& cause() const noexcept { return data_->cause; }

  private:
    struct Data {
        ModuleErrorKind kind;
        std::filesystem::path path;
        std::string cause;
        std::string text;
    };
    std::shared_ptr<const Data> data_;
};

} // namespace varnek::modules
