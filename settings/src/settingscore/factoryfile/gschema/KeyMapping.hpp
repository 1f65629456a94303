/// One key of a GSettings schema as a setting of a definition document.
#pragma once

#include "settingscore/factoryfile/gschema/SchemaList.hpp"
#include "json/Value.hpp"

#include <stdexcept>

namespace settings::core::detail {

/// Why a key cannot become a setting.
class UnmappableKey : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The setting object. `enumerations` holds what the key may refer to. Thread-safe.
varnek::json::Object
settingFromKey(const SchemaKey& key,
               const std::map<std::string, SchemaEnumeration, std::less<>>& enumerations);

} // namespace settings::core::detail
