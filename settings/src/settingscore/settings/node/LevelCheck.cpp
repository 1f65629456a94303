#include "settingscore/settings/node/LevelCheck.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/node/NodeLog.hpp"
#include "varnek/files/Folder.hpp"
#include "varnek/files/PathText.hpp"

#include <map>
#include <mutex>

namespace settings::core::detail {

namespace {

constexpr std::string_view probeFile = "tmp.txt";

struct Probe {
    std::once_flag once;
    bool writable = false;
};

/// Once per process and folder; no lock is held while the disk works, but callers of one folder wait for each
/// other.
bool canBeModified(const std::u16string& folder) {
    static auto& mutex =
        *new std::mutex; // never destroyed, as settings may be changed while the process ends
    static auto& probes = *new std::map<std::u16string, Probe>;
    Probe* probe = nullptr;
    {
        const std::lock_guard lock(mutex);
        probe = &probes[folder];
    }
    bool isFirst = false;
    std::call_once(probe->once, [&] {
        probe->writable =
            !folder.empty() && varnek::files::probeWritable(varnek::files::pathFromUtf16(folder), probeFile);
        isFirst = true;
    });
    if (isFirst) // what listens to the log may change settings itself
        VARNEK_LOG(nodeLog, info) << "can folder " << folder << " be modified: " << probe->writable;
    return probe->writable;
}

bool isModifiable(LevelIndex level, const RootIndex& tree) {
    const SettingsLevel& description = SettingsLevelManager::getSettingsLevelObjs()[position(level)];
    return description.canBeModified() &&
           (!description.isInstallationLevel() || canBeModified(levelFolder(tree, level)));
}

} // namespace

LevelIndex requireLevel(std::string_view level, const HandleMaker& object) {
    const auto found = levelIndexOf(level);
    if (!found)
        throw exception::UnSupportedLevel(object(), std::string(level),
                                          getSettingsLevelManagerInstance()->getAllLevelNames());
    return *found;
}

LevelIndex checkModifiableLevel(std::string_view level, const HandleMaker& object, const RootIndex& tree) {
    const LevelIndex at = requireLevel(level, object);
    if (!isModifiable(at, tree))
        throw exception::CantModifyValuesOnReadOnlyLevel(object(), std::string(level));
    return at;
}

std::vector<std::string> modifiableLevelNames(const RootIndex& tree) {
    std::vector<std::string> names;
    for (const LevelIndex level : levelsInOrder)
        if (isModifiable(level, tree))
            names.emplace_back(levelName(level));
    return names;
}

} // namespace settings::core::detail
