#include "SaveOutcome.hpp"

#include "Printable.hpp"
#include "Shell.hpp"

#include "settingscore/SaveReport.hpp"

#include <iostream>
#include <utility>

namespace vksettings {

namespace {

std::string reasonOf(const settings::core::SaveReport& report) {
    if (!report.message.empty())
        return report.message;
    constexpr std::pair<std::string_view, const char*> reasons[] = {
        {"notWritable", "its folder cannot be written"},
        {"encrypted", "the file is encrypted and is never replaced by a plain one"},
        {"waitingForRead", "the file could not be read and is not replaced unread"},
        {"switchedOff", "saving is switched off"},
        {"folderAway", "its folder is not there"},
    };
    for (const auto& [outcome, reason] : reasons)
        if (report.outcome == outcome)
            return reason;
    return "the cause is unknown";
}

} // namespace

Saving::Saving(const settings::core::Settings& node, const std::string& level)
    : node_(node), level_(level), file_(settings::core::lastSave(node, level).file) {
    if (level == "session" && !isInShell())
        throw std::invalid_argument("\"" + node.getFullName() +
                                    "\": a value of level \"session\" lives as long as its process, and "
                                    "this one ends at once");
    keptBefore_ = keptFiles();
}

std::set<std::filesystem::path> Saving::keptFiles() const {
    std::set<std::filesystem::path> kept;
    std::error_code ignored;
    const std::string prefix = file_.filename().string() + ".damaged";
    for (const auto& entry : std::filesystem::directory_iterator(file_.parent_path(), ignored))
        if (entry.path().filename().string().starts_with(prefix))
            kept.insert(entry.path());
    return kept;
}

void Saving::finish() const {
    const settings::core::SaveReport report = settings::core::awaitSave(node_, level_);
    for (const auto& kept : keptFiles())
        if (!keptBefore_.contains(kept))
            std::cerr << "vksettings: warning: the damaged file is kept as " << printable(kept.string())
                      << '\n';
    if (!report.isOnDisk || report.outcome == "encrypted")
        throw NotSaved("\"" + node_.getFullName() + "\" was not saved to " + report.file + ": " +
                       reasonOf(report));
}

} // namespace vksettings
