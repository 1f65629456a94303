#include "settingscore/settings/root/LateSources.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
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

bool isVisible(const FactorySettingsTracker::Loader& loader) {
    const DefinesHere definesHere;
    return !loader.code->isHidden();
}

} // namespace

void addToAllTrees(const FactorySettingsTracker::Service& service) {
    VARNEK_LOG(rootLog, info) << "Tracker: add to settings root: " << service.name
                              << " isVisible:" << service.isVisible;
    forAllTrees([&](Toolboxes& toolboxes) {
        if (service.parent.empty())
            toolboxes.add(service.name);
        else
            toolboxes.addSubgroup(service);
    });
}

void leaveAllTrees(const FactorySettingsTracker::Service& service) {
    if (service.parent.empty())
        forAllTrees([&](Toolboxes& toolboxes) { toolboxes.follow(service.name); });
}

void addLoaderToAllTrees(const FactorySettingsTracker::Loader& loader) {
    VARNEK_LOG(rootLog, info) << "Tracker: add to settings root: " << loader.name
                              << " isVisible:" << isVisible(loader);
    forAllTrees([&](Toolboxes& toolboxes) { toolboxes.addLoader(loader); });
}

void lookForSourcesInAllTrees() {
    forAllTrees([](Toolboxes& toolboxes) { toolboxes.lookForSources(); });
}

} // namespace settings::core::detail
