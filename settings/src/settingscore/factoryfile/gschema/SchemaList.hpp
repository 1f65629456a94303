/// GSettings schemas as plain data, as their XML files give them.
#pragma once

#include "settingscore/factoryfile/GSchemaConverter.hpp"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace settings::core::detail {

/// The default of a key; a text in the notation of GVariant.
struct SchemaDefault {
    std::string text;
    std::string l10n;    // "messages", "time", or empty: not to be translated
    std::string context; // for translators
};

struct SchemaKey {
    std::string name;
    // Exactly one of these is not empty in a sound schema.
    std::string type;
    std::string enumeration;
    std::string flags;

    std::optional<SchemaDefault> defaultValue;
    std::string summary;
    std::string description;
    std::optional<std::string> min;
    std::optional<std::string> max;
    std::optional<std::vector<std::string>> choices;
    std::vector<std::pair<std::string, std::string>> aliases; // (old value, value)
};

struct Schema {
    std::string id;
    std::optional<std::string> path; // absent: relocatable
    std::string extends;
    std::string listOf;
    std::string gettextDomain;
    std::vector<SchemaKey> keys;
    std::vector<std::pair<std::string, std::string>> children; // (name, schema)
    std::vector<std::pair<std::string, SchemaDefault>> overrides;
};

/// (nick, number) in the order of the file.
using SchemaEnumeration = std::vector<std::pair<std::string, std::string>>;

class SchemaList {
  public:
    std::vector<Schema> schemas;                                        // added to by insert only
    std::map<std::string, SchemaEnumeration, std::less<>> enumerations; // flags among them
    std::vector<varnek::settings::UnmappedItem> unmapped;               // what could not be taken over

    const Schema* find(std::string_view id) const noexcept;
    /// Fails when a schema of that identifier is there.
    bool insert(Schema schema);

    /// Takes over what `other` defines and this list does not; the rest is noted.
    void add(SchemaList other);

  private:
    std::map<std::string, std::size_t, std::less<>> places_; // in `schemas`
};

/// Raises InvalidDefinition, with the line as the path, for a text that is no schema list.
SchemaList readSchemaList(std::string_view text, const std::string& file);

/// Notes every key of a schema that is left out.
void noteKeys(const Schema& schema, const std::string& reason,
              std::vector<varnek::settings::UnmappedItem>& unmapped);

} // namespace settings::core::detail
