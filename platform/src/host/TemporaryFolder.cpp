#include "host/Variable.hpp"
#include "varnek/host/Folders.hpp"

namespace varnek::host {

std::filesystem::path temporaryFolder() {
    std::error_code ignored;
    if (const auto folder = absolutePathVariable("TMPDIR");
        folder && std::filesystem::is_directory(*folder, ignored))
        return *folder;
    return "/tmp";
}

} // namespace varnek::host
