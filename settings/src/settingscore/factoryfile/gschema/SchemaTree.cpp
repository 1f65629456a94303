#include "settingscore/factoryfile/gschema/SchemaTree.hpp"

#include "settingscore/settings/node/NodeNames.hpp"

#include <algorithm>
#include <optional>
#include <set>

namespace settings::core::detail {

using varnek::settings::UnmappedItem;

namespace {

/// Groups inside each other take two levels of JSON each, and there is more around them.
constexpr std::size_t deepest = 24;
/// Relocatable schemas may stand in many places, which multiply with each level.
constexpr std::size_t mostPlaces = 20'000;
constexpr std::size_t longestInheritance = 64;

/// "/org/example/" as {"org", "example"}, or nothing for something else.
std::optional<std::vector<std::string>> stepsOf(std::string_view path) {
    if (!path.starts_with('/') || !path.ends_with('/') || path.size() < 3)
        return std::nullopt;
    std::vector<std::string> steps;
    for (path.remove_prefix(1); !path.empty();) {
        const auto end = path.find('/');
        if (end == 0)
            return std::nullopt;
        steps.emplace_back(path.substr(0, end));
        path.remove_prefix(end + 1);
    }
    return steps;
}

class TreeBuilder {
  public:
    TreeBuilder(const SchemaList& list, std::vector<UnmappedItem>& unmapped)
        : list_(list), unmapped_(unmapped) {}

    SchemaGroup build() {
        for (const Schema& schema : list_.schemas) {
            if (!schema.listOf.empty())
                note(schema,
                     "it is a list of \"" + schema.listOf + "\", whose elements have no names of their own");
            if (schema.path)
                place(schema, *schema.path);
        }
        for (const Schema& schema : list_.schemas)
            if (!placed_.contains(&schema))
                noteKeys(schema, "its schema has no path, and no schema with one has it as a child",
                         unmapped_);
        return std::move(root_);
    }

  private:
    void note(const Schema& schema, const std::string& reason) {
        unmapped_.push_back({schema.id, "", reason});
    }

    void place(const Schema& schema, const std::string& path) {
        placed_.insert(&schema);
        const auto steps = stepsOf(path);
        if (!steps || steps->size() > deepest || !isAcceptable(*steps)) {
            noteKeys(schema, "the path \"" + path + "\" of its schema makes no groups", unmapped_);
            return;
        }
        if (std::find(open_.begin(), open_.end(), &schema) != open_.end()) {
            note(schema, "it is a child of itself at \"" + path + "\"");
            return;
        }
        if (++places_ > mostPlaces) {
            noteKeys(schema, "the schemas stand in too many places", unmapped_);
            return;
        }
        open_.push_back(&schema);
        SchemaGroup* group = &root_;
        for (const std::string& step : *steps)
            group = &group->groups[step];
        group->schemas.push_back(&schema);
        for (SchemaKey& key : keysOf(schema))
            group->keys.push_back({schema.id, std::move(key)});
        for (const auto& [name, id] : schema.children)
            placeChild(schema, path, name, id);
        open_.pop_back();
    }

    static bool isAcceptable(const std::vector<std::string>& steps) {
        std::string parent;
        for (const std::string& step : steps) {
            if (!isAcceptableName(step, parent, parent.empty()))
                return false;
            parent += (parent.empty() ? "" : ".") + step;
        }
        return true;
    }

    void placeChild(const Schema& parent, const std::string& path, const std::string& name,
                    const std::string& id) {
        const Schema* child = list_.find(id);
        const std::string place = path + name + "/";
        if (child == nullptr)
            note(parent,
                 "its child \"" + name + "\" is of the schema \"" + id + "\", which is in none of the files");
        else if (!child->path)
            this->place(*child, place);
        else if (*child->path != place)
            note(parent, "its child \"" + name + "\" stands at a path of its own, \"" + *child->path + "\"");
    }

    /// Own and inherited keys with the defaults that this schema gives them.
    std::vector<SchemaKey> keysOf(const Schema& schema) {
        std::vector<SchemaKey> keys = inheritedKeys(schema);
        std::map<std::string, std::size_t> places;
        for (std::size_t i = 0; i < keys.size(); ++i)
            places.emplace(keys[i].name, i);
        for (const auto& [name, value] : schema.overrides) {
            if (const auto key = places.find(name); key != places.end())
                keys[key->second].defaultValue = value;
            else
                note(schema, "it overrides \"" + name + "\", which it does not inherit");
        }
        for (const SchemaKey& key : schema.keys) {
            if (places.emplace(key.name, keys.size()).second)
                keys.push_back(key);
            else
                unmapped_.push_back({schema.id, key.name, "its schema has a key of that name already"});
        }
        return keys;
    }

    std::vector<SchemaKey> inheritedKeys(const Schema& schema) {
        if (schema.extends.empty())
            return {};
        const Schema* base = list_.find(schema.extends);
        if (base == nullptr) {
            note(schema, "it extends \"" + schema.extends + "\", which is in none of the files");
            return {};
        }
        if (extending_.size() == longestInheritance || base == &schema ||
            std::find(extending_.begin(), extending_.end(), base) != extending_.end()) {
            note(schema, "it extends itself, or too many others");
            return {};
        }
        extending_.push_back(&schema);
        std::vector<SchemaKey> keys = keysOf(*base);
        extending_.pop_back();
        return keys;
    }

    const SchemaList& list_;
    std::vector<UnmappedItem>& unmapped_;
    SchemaGroup root_;
    std::size_t places_ = 0;
    std::set<const Schema*> placed_;
    std::vector<const Schema*> open_;
    std::vector<const Schema*> extending_;
};

} // namespace

SchemaGroup treeOf(const SchemaList& list, std::vector<UnmappedItem>& unmapped) {
    return TreeBuilder(list, unmapped).build();
}

} // namespace settings::core::detail
