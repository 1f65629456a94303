#include "settingscore/factoryfile/GSchemaConverter.hpp"

#include "settingscore/factoryfile/DefinitionKeys.hpp"
#include "settingscore/factoryfile/gschema/KeyMapping.hpp"
#include "settingscore/factoryfile/gschema/SchemaList.hpp"
#include "settingscore/factoryfile/gschema/SchemaTree.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/xml/Element.hpp"
#include "json/Writer.hpp"

#include <algorithm>
#include <set>

namespace varnek::settings {

using namespace ::settings::core::detail; // NOLINT: this namespace hides the library's own

namespace {

/// Turns the tree of schemas into group objects.
class DocumentWriter {
  public:
    DocumentWriter(const SchemaList& list, ConvertedSchemas& result) : list_(list), result_(result) {}

    void write(const SchemaGroup& root) {
        for (const auto& [name, group] : root.groups) {
            const std::size_t before = result_.mappedKeys;
            json::Object document = groupOf(name, group, {});
            if (result_.mappedKeys != before)
                result_.documents.push_back({name, json::writeIndented(std::move(document)) + "\n"});
        }
    }

  private:
    json::Object groupOf(const std::string& name, const SchemaGroup& group, const std::string& parent) {
        const std::string fullName = parent.empty() ? name : parent + "." + name;
        json::Object object;
        object.set(keys::groupName, name);
        if (json::Object attributes = attributesOf(group); !attributes.empty())
            object.set(keys::attributes, std::move(attributes));
        if (json::Array settings = settingsOf(group, fullName); !settings.empty())
            object.set(keys::settings, std::move(settings));
        json::Array groups;
        for (const auto& [childName, child] : group.groups)
            groups.push_back(groupOf(childName, child, fullName));
        if (!groups.empty())
            object.set(keys::groups, std::move(groups));
        return object;
    }

    static json::Object attributesOf(const SchemaGroup& group) {
        json::Array ids;
        json::Object attributes;
        for (const Schema* schema : group.schemas) {
            ids.push_back(schema->id);
            if (!schema->gettextDomain.empty())
                attributes.set("gettextDomain", schema->gettextDomain);
        }
        if (!ids.empty())
            attributes.set("schemas", std::move(ids));
        return attributes;
    }

    json::Array settingsOf(const SchemaGroup& group, const std::string& fullName) {
        json::Array settings;
        std::set<std::string> taken;
        for (const PlacedKey& placed : group.keys) {
            const std::string& name = placed.key.name;
            try {
                if (group.groups.contains(name))
                    throw UnmappableKey("a group of the same name stands in its place");
                if (taken.contains(name))
                    throw UnmappableKey("another schema has a key of that name at the same path");
                if (!isAcceptableName(name, fullName, false))
                    throw UnmappableKey("its name is too long");
                settings.push_back(settingFromKey(placed.key, list_.enumerations));
                taken.insert(name);
                ++result_.mappedKeys;
            } catch (const UnmappableKey& reason) {
                result_.unmapped.push_back({placed.schema, name, reason.what()});
            }
        }
        return settings;
    }

    const SchemaList& list_;
    ConvertedSchemas& result_;
};

std::string canonicalName(const std::filesystem::path& file) {
    std::error_code ignored;
    const auto canonical = std::filesystem::weakly_canonical(file, ignored);
    return ignored ? file.string() : canonical.string();
}

} // namespace

struct GSchemaConverter::State {
    SchemaList list;
    std::set<std::string> read; // files, so that none is read twice
};

GSchemaConverter::GSchemaConverter() : state_(std::make_unique<State>()) {}
GSchemaConverter::GSchemaConverter(GSchemaConverter&&) noexcept = default;
GSchemaConverter& GSchemaConverter::operator=(GSchemaConverter&&) noexcept = default;
GSchemaConverter::~GSchemaConverter() = default;

void GSchemaConverter::addFile(const std::filesystem::path& file) {
    std::set<std::string> read = state_->read;
    SchemaList added;
    const auto add = [&](const std::filesystem::path& path) {
        if (read.insert(canonicalName(path)).second)
            added.add(readSchemaList(varnek::files::readFile(path, varnek::xml::maxBytes), path.string()));
    };
    add(file);
    const auto folder = file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
    for (const auto& neighbour : varnek::files::listFiles(folder, ".enums.xml"))
        add(neighbour);
    state_->list.add(std::move(added));
    state_->read = std::move(read);
}

void GSchemaConverter::addText(std::string_view text, const std::string& name) {
    state_->list.add(readSchemaList(text, name));
}

ConvertedSchemas GSchemaConverter::convert() const {
    ConvertedSchemas result;
    result.unmapped = state_->list.unmapped;
    const SchemaGroup root = treeOf(state_->list, result.unmapped);
    DocumentWriter(state_->list, result).write(root);
    return result;
}

std::size_t ConvertedSchemas::unmappedKeys() const noexcept {
    return static_cast<std::size_t>(std::count_if(
        unmapped.begin(), unmapped.end(), [](const UnmappedItem& item) { return !item.key.empty(); }));
}

} // namespace varnek::settings
