#include "varnek/modules/Module.hpp"

#include "varnek/modules/ModuleError.hpp"

#define BOOST_DLL_USE_STD_FS
#include <boost/dll/shared_library.hpp>

#include <dlfcn.h>
#include <link.h>

#include <map>
#include <mutex>
#include <string>

namespace varnek::modules {
namespace {

namespace fs = std::filesystem;

/// Never destroyed, so that no module is unloaded.
struct Loaded {
    std::mutex mutex; // guards modules; not held while one is loaded
    std::map<fs::path, ModuleHandle> modules;
};

Loaded& loaded() {
    static Loaded* const instance = new Loaded;
    return *instance;
}

std::string systemText() {
    const char* text = ::dlerror(); // of this thread
    return text != nullptr ? text : "unknown error";
}

} // namespace

class Module::Library {
  public:
    explicit Library(const fs::path& path) {
        std::error_code code; // of no use: always a bad file descriptor
        library_.load(path, code, boost::dll::load_mode::rtld_lazy | boost::dll::load_mode::rtld_local);
        if (!library_.is_loaded())
            throw ModuleError(ModuleErrorKind::loadFailed, "load the module", path, systemText());
    }

    void* find(const std::string& name) const {
        if (!library_.has(name))
            return nullptr;
        void* address = &library_.get<char>(name);
        return definedHere(address) ? address : nullptr;
    }

  private:
    /// The system also looks into the libraries that this one depends on.
    bool definedHere(void* address) const {
        link_map *own = nullptr, *owner = nullptr;
        Dl_info info{};
        return ::dlinfo(library_.native(), RTLD_DI_LINKMAP, &own) == 0 &&
               ::dladdr1(address, &info, reinterpret_cast<void**>(&owner), RTLD_DL_LINKMAP) != 0 &&
               own == owner;
    }

    boost::dll::shared_library library_;
};

Module::Module(fs::path path, std::unique_ptr<const Library> library)
    : path_(std::move(path)), library_(std::move(library)) {}

Module::~Module() = default;

ModuleHandle Module::load(const fs::path& absolutePath) {
    if (!absolutePath.is_absolute() || absolutePath.native().find('\0') != std::string::npos)
        throw ModuleError(ModuleErrorKind::invalidName, "load the module", absolutePath,
                          "not an absolute path");
    std::error_code error;
    fs::path file = fs::canonical(absolutePath, error);
    if (error)
        file = absolutePath; // loading it will tell why
    {
        const std::lock_guard lock(loaded().mutex);
        if (const auto found = loaded().modules.find(file); found != loaded().modules.end())
            return found->second;
    }
    const ModuleHandle module(new Module(absolutePath, std::make_unique<const Library>(file)));
    const std::lock_guard lock(loaded().mutex);
    return loaded().modules.try_emplace(std::move(file), module).first->second;
}

void* Module::symbol(std::string_view name) const {
    void* found = findSymbol(name);
    if (found == nullptr)
        throw ModuleError(ModuleErrorKind::symbolMissing, "find \"" + std::string(name) + "\" in the module",
                          path_, "it exports no such symbol");
    return found;
}

void* Module::findSymbol(std::string_view name) const {
    return name.empty() || name.find('\0') != name.npos ? nullptr : library_->find(std::string(name));
}

} // namespace varnek::modules
