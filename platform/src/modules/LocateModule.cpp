#include "varnek/modules/Module.hpp"
#include "varnek/modules/ModuleError.hpp"

#include <string>

namespace varnek::modules {
namespace {

namespace fs = std::filesystem;
using Kind = ModuleErrorKind;

constexpr std::string_view operation = "use the module";
constexpr std::string_view forbidden("/\\\0", 3);

} // namespace

fs::path locateModule(const fs::path& folder, std::string_view name) {
    if (name.empty() || name == "." || name == ".." || name.find_first_of(forbidden) != name.npos)
        throw ModuleError(Kind::invalidName, operation, name, "not the plain name of a module");
    const fs::path file = folder / ("lib" + std::string(name) + ".so");
    std::error_code error;
    const fs::path target = fs::canonical(file, error);
    if (error)
        throw ModuleError(Kind::notFound, operation, file, error.message());
    if (target.parent_path() != fs::canonical(folder, error))
        throw ModuleError(Kind::leavesFolder, operation, file, "it is a link that leads out of its folder");
    if (!fs::is_regular_file(target, error))
        throw ModuleError(Kind::notFound, operation, file, "not a regular file");
    return target;
}

} // namespace varnek::modules
