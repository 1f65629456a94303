#include "varnek/modules/ModuleError.hpp"

namespace varnek::modules {

ModuleError::ModuleError(ModuleErrorKind kind, std::string_view operation, std::filesystem::path path,
                         std::string_view cause) {
    std::string text = "cannot ";
    text.append(operation).append(" \"").append(path.native()).append("\": ").append(cause);
    data_ = std::make_shared<const Data>(Data{kind, std::move(path), std::string(cause), std::move(text)});
}

} // namespace varnek::modules
