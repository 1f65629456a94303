#include "settingscore/SettingsRoot.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"

namespace settings::core::detail {

boost::shared_ptr<Settings> getSettingsRoot(const RootIndex& index) {
    return TreesOnDemand::instance().find(index)->root->getThisObject();
}

std::vector<LoadProblem> getLoadProblems(const RootIndex& index) {
    const auto tree = TreesOnDemand::instance().existing(index);
    if (tree == nullptr)
        return {};
    if (tree->toolboxes != nullptr)
        for (const LevelFileStatus& file : tree->files->allStatuses())
            if (file.loaded != LoadOutcome::notRead) // saves replace files, and read them
                tree->toolboxes->noteFile(file);
    return problemsOf(*tree);
}

} // namespace settings::core::detail

namespace settings::standalone {

boost::shared_ptr<core::Settings> getSettingsRoot() {
    static const auto& root = *new auto([] {
        core::detail::TreeContext context;
        context.rootIndex = core::DefaultRootIndex();
        return core::detail::SettingsImplRoot::make(std::move(context));
    }());
    return root->getThisObject();
}

} // namespace settings::standalone
