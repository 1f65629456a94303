#include "settingscore/settings/root/LateSources.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"

namespace settings::core::detail {

namespace {

/// A tree at fault does not keep the others back.
template <class Work>
void forAllTrees(const Work& work) {
    for (const auto& state : RootStates::instance().all()) {
        if (state->toolboxes == nullptr || !state->toolboxes->isBuilt())
            continue;
        try {
            work(*state->toolboxes);
        } catch (...) {
            VARNEK_LOG(rootLog, error) << "Exception caught: " << causeOfCurrentException();
        }
    }
}

} // namespace

void addToAllTrees(const std::shared_ptr<const varnek::settings::FactorySettings>& service) {
    const std::string group = service->getToolboxGroupName();
    const std::string parent = service->getParentName();
    const bool isVisible = service->isVisible();
    VARNEK_LOG(rootLog, info) << "Tracker: add to settings root: " << group << " isVisible:" << isVisible;
    forAllTrees([&](Toolboxes& toolboxes) {
        if (parent.empty())
            toolboxes.add(group, isVisible);
        else
            toolboxes.addSubgroup(service);
    });
}

void addLoaderToAllTrees(const std::shared_ptr<const varnek::settings::TopLevelFactoryFileLoader>& loader) {
    VARNEK_LOG(rootLog, info) << "Tracker: add to settings root: " << loader->getName()
                              << " isVisible:" << !loader->isHidden();
    forAllTrees([&](Toolboxes& toolboxes) { toolboxes.addLoader(loader); });
}

void lookForSourcesInAllTrees() {
    forAllTrees([](Toolboxes& toolboxes) { toolboxes.lookForSources(); });
}

} // namespace settings::core::detail
