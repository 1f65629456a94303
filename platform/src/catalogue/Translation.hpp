/// The texts of one translation file.
#pragma once

#include "varnek/catalogue/Catalogue.hpp"

#include <locale>
#include <string>

namespace varnek::catalogue {

/// Immutable.
class Catalogue::Translation {
  public:
    /// Throws like Catalogue::fromFile.
    explicit Translation(const std::filesystem::path& file);

    /// Null when it is missing. Valid for the life of the object.
    const char* find(std::string_view component, std::string_view key) const;

  private:
    std::locale locale_; // owns the gettext texts
};

} // namespace varnek::catalogue
