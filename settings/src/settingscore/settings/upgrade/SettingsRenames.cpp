#include "settingscore/upgrade/SettingsRenames.hpp"

#include <mutex>

namespace settings::core {

namespace {

struct Table {
    std::mutex mutex;
    std::vector<SettingsRename> rows;
};

Table& table() {
    static auto* const table = new Table;
    return *table;
}

} // namespace

std::vector<SettingsRename> settingsRenames() {
    const std::lock_guard lock(table().mutex);
    return table().rows;
}

void setSettingsRenames(std::vector<SettingsRename> rows) {
    std::erase_if(rows, [](const SettingsRename& row) { return row.oldName.empty() || row.newName.empty(); });
    const std::lock_guard lock(table().mutex);
    table().rows.swap(rows);
}

} // namespace settings::core
