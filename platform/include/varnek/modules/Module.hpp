/// Plug-in libraries. A module is loaded once and never unloaded, because objects and functions of it may be
/// in use anywhere.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>
#include <memory>
#include <string_view>

namespace varnek::modules {

class Module;
using ModuleHandle = std::shared_ptr<const Module>;

/// Immutable; symbols may be looked up on any thread.
class VARNEK_EXPORT Module {
  public:
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;
    ~Module();

    /// Loads a library (lazily bound, its symbols not visible to others) and runs its static initialisers,
    /// with no lock held; the same file again gives the same handle. What the initialisers throw ends the
    /// process. Throws ModuleError (invalidName for a path that is not absolute, loadFailed with the text of
    /// the system).
    static ModuleHandle load(const std::filesystem::path& absolutePath);

    /// As given to the first load.
    const std::filesystem::path& path() const noexcept { return path_; }

    /// The address of a function or variable that the module itself exports; one of a library that it depends
    /// on counts as missing. Throws ModuleError (symbolMissing).
    void* symbol(std::string_view name) const;
    /// The same, null when missing.
    void* findSymbol(std::string_view name) const;

    /// The caller knows the type: `module->function<int(double)>("round")`.
    template <class Function>
    Function* function(std::string_view name) const {
        return reinterpret_cast<Function*>(symbol(name));
    }

  private:
    class Library;

    Module(std::filesystem::path path, std::unique_ptr<const Library> library);

    std::filesystem::path path_;
    std::unique_ptr<const Library> library_;
};

/// The path of the module `name` in a folder: "lib<name>.so" there. The name is plain: not empty, without
/// "/", "\" and NUL, not "." or "..". A symbolic link counts only if it ends in the same folder. Throws
/// ModuleError (invalidName, notFound, leavesFolder).
VARNEK_EXPORT std::filesystem::path locateModule(const std::filesystem::path& folder, std::string_view name);

} // namespace varnek::modules
