#include "settingscore/SaveReport.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core {

using namespace detail;

namespace {

using Query = LevelFileStatus (*)(LevelFileKeeper& files, const std::string& product, LevelIndex level);

SaveReport report(const Settings& node, std::string_view level, Query query) {
    const NodePtr impl = SettingsAccess::mutableNode(node);
    const LevelIndex at = requireLevel(level, [&] { return impl->getThisObject(); });
    if (impl->treeContext() == nullptr)
        impl->isConnectedToTheSettingsTree(); // a node of another process refuses
    impl->readOnlyState();                    // loads a group that nobody has needed yet
    const auto tree = impl->treeContext();
    const NodePtr product = impl->getTopLevelNodeForSave();
    auto* const files = tree == nullptr ? nullptr : dynamic_cast<LevelFileKeeper*>(tree->saves.get());
    if (files == nullptr || product == nullptr || at == LevelIndex::session)
        return {};
    const LevelFileStatus status = query(*files, product->getName(), at);
    const bool isOnDisk = !status.isMarked && status.saved != SaveOutcome::encrypted; // that one never is
    return {isOnDisk, status.file.string(), std::string(nameOf(status.saved)), status.saveMessage};
}

} // namespace

SaveReport lastSave(const Settings& node, std::string_view level) {
    return report(node, level, [](LevelFileKeeper& files, const std::string& product, LevelIndex at) {
        return files.status(product, at);
    });
}

SaveReport awaitSave(const Settings& node, std::string_view level) {
    return report(node, level, [](LevelFileKeeper& files, const std::string& product, LevelIndex at) {
        return files.awaitSave(product, at);
    });
}

} // namespace settings::core
