#include "settingscore/SaveReport.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core {

using namespace detail;

SaveReport lastSave(const Settings& node, std::string_view level) {
    const NodePtr impl = SettingsAccess::mutableNode(node);
    const LevelIndex at = requireLevel(level, [&] { return impl->getThisObjectImpl(); });
    const auto tree = impl->treeContext();
    const NodePtr product = impl->getTopLevelNodeForSave();
    const auto* files = tree == nullptr ? nullptr : dynamic_cast<const LevelFileKeeper*>(tree->saves.get());
    if (files == nullptr || product == nullptr || at == LevelIndex::session)
        return {};
    const LevelFileStatus status = files->status(product->getName(), at);
    const bool isOnDisk = !status.isMarked && status.saved != SaveOutcome::encrypted; // that one never is
    return {isOnDisk, status.file.string(), std::string(nameOf(status.saved)), status.saveMessage};
}

} // namespace settings::core
