#include "varnek/files/FileError.hpp"

#include "varnek/files/PathText.hpp"

#include <system_error>

namespace varnek::files {

FileError::FileError(FileErrorKind kind, std::string_view operation, const std::filesystem::path& path,
                     int errorNumber, std::string_view cause) {
    std::string text = "cannot ";
    text.append(operation).append(" \"").append(shownName(path.native())).append("\": ");
    text.append(cause.empty() ? std::system_category().message(errorNumber) : std::string(cause));
    data_ = std::make_shared<const Data>(Data{kind, errorNumber, path, std::move(text)});
}

} // namespace varnek::files
