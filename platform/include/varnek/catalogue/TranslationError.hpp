/// The failure of reading a translation file.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace varnek::catalogue {

/// what() reads `cannot use the translation "<path>": <cause>`.
class VARNEK_EXPORT TranslationError : public exception::Cloneable<TranslationError, exception::Exception> {
  public:
    TranslationError(std::filesystem::path path, std::string_view cause);

    const char* what() const noexcept override { return data_->text.c_str(); }
    const std::filesystem::path& path() const noexcept { return data_->path; }

  private:
    struct Data {
        std::filesystem::path path;
        std::string text;
    };
    std::shared_ptr<const Data> data_;
};

} // namespace varnek::catalogue
