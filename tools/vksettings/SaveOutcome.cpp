#include "SaveOutcome.hpp"

#include "settingscore/SaveReport.hpp"

namespace vksettings {

void requireSaved(const settings::core::Settings& node, const std::string& level) {
    const settings::core::SaveReport report = settings::core::lastSave(node, level);
    if (report.isOnDisk)
        return;
    throw NotSaved("\"" + node.getFullName() + "\" was not saved to " + report.file + " (" + report.outcome +
                   ")" + (report.message.empty() ? "" : ": " + report.message));
}

} // namespace vksettings
