/// Makes definition documents from GSettings schemas: XML files named "*.gschema.xml" that describe the
/// settings of desktop programs.
///
/// The path of a schema becomes the groups: keys of "/org/example/editor/" become settings of the group
/// "editor" below "example" below "org"; a schema without path stands wherever a parent names it as a child.
/// Types, defaults, ranges, choices, enumerations and flags become values and validators; summary and
/// description become the attributes "title" and "description".
///
///     varnek::settings::GSchemaConverter converter;
///     converter.addFile("/usr/share/glib-2.0/schemas/org.example.editor.gschema.xml");
///     for (const auto& document : converter.convert().documents)
///         std::ofstream(document.groupName + ".json") << document.text;
#pragma once

#include "settingscore/Export.hpp"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varnek::settings {

/// Something in a schema that no definition can express, or that contradicts the rest.
struct UnmappedItem {
    std::string schema; ///< its identifier
    std::string key;    ///< empty: the schema as a whole, or a part of it that is no key
    std::string reason;
};

struct ConvertedSchemas {
    struct Document {
        std::string groupName; ///< of the top-level group
        std::string text;      ///< the definition document, indented JSON
    };

    /// One per top-level group with a setting, sorted by name.
    std::vector<Document> documents;
    /// Keys that became a setting. A schema that stands in several places counts in each of them.
    std::size_t mappedKeys = 0;
    /// Every key that did not, and whatever else was left out.
    std::vector<UnmappedItem> unmapped;

    SETTINGSCORE_EXPORT std::size_t unmappedKeys() const noexcept;
};

/// Collects files, then converts them together, since schemas refer to each other. Move-only; externally
/// synchronised.
class SETTINGSCORE_EXPORT GSchemaConverter {
  public:
    GSchemaConverter();
    GSchemaConverter(GSchemaConverter&&) noexcept;
    GSchemaConverter& operator=(GSchemaConverter&&) noexcept;
    ~GSchemaConverter();

    /// Also takes the enumerations of the files "*.enums.xml" in the same folder. Adding a file twice does
    /// nothing. Blocks on the disk. Errors, with nothing added: varnek::files::FileError; InvalidDefinition
    /// for a file that is no schema list.
    void addFile(const std::filesystem::path& file);
    /// The same for a text in memory, which messages call `name`.
    void addText(std::string_view text, const std::string& name);

    ConvertedSchemas convert() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace varnek::settings
