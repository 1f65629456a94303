/// Where the schemas of a list stand: the groups that their paths make, with the keys that belong there.
#pragma once

#include "settingscore/factoryfile/gschema/SchemaList.hpp"

#include <map>
#include <string>
#include <vector>

namespace settings::core::detail {

/// A key in its place, with the default that counts there.
struct PlacedKey {
    std::string schema;
    SchemaKey key;
};

struct SchemaGroup {
    std::map<std::string, SchemaGroup> groups;
    std::vector<PlacedKey> keys;        // in the order of the files
    std::vector<const Schema*> schemas; // that stand here
};

/// The groups of all schemas, those of top level in the first one's `groups`. The list has to outlive the
/// result. What has no place is noted.
SchemaGroup treeOf(const SchemaList& list, std::vector<varnek::settings::UnmappedItem>& unmapped);

} // namespace settings::core::detail
