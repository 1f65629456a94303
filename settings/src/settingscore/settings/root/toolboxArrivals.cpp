// Sources that come to a tree that is there already, or is being built.

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"
#include "settingscore/settings/root/DefinesHere.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "settingscore/settings/root/SettingsImplRoot.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"

#include <utility>

namespace settings::core::detail {

/// The other toolboxes go on.
template <class Step>
void Toolboxes::unlessBroken(const std::string& name, const Step& step) {
    try {
        step();
    } catch (...) {
        noteRefusal()(name, causeOfCurrentException());
    }
}

void Toolboxes::takeServices() {
    const FactorySettingsTracker& tracker = FactorySettingsTracker::start();
    for (const FactorySettingsTracker::Service& service : tracker.servicesSince(builtAt_))
        unlessBroken(service.name, [&] {
            if (service.parent.empty())
                add(service.name);
            else
                addSubgroup(service);
        });
    for (const FactorySettingsTracker::Loader& loader : tracker.loadersSince(builtAt_))
        unlessBroken(loader.name, [&] { addLoader(loader); });
    lookForSources(); // some may have gone
}

void Toolboxes::addLoader(const ToolboxSources::Loader& loader) {
    {
        const DefinesHere definesHere;
        sources_.takeLoaders({loader}, noteRefusal());
    }
    lookForSources();
}

void Toolboxes::lookForSources() {
    for (const std::string& name : sources_.declaredGroups())
        unlessBroken(name, [&] { follow(name); });
}

void Toolboxes::addSubgroup(const FactorySettingsTracker::Service& service) {
    const auto root = root_.lock();
    if (root == nullptr)
        return;
    const std::string& path = service.parent;
    NodePtr parent = root, product;
    for (std::string_view rest = path; !rest.empty() && parent != nullptr;) {
        const std::string step(nextName(rest));
        parent = parent == root ? localGroup(step) : childCalled(step, parent->getChildren());
        if (const auto top = boost::dynamic_pointer_cast<DeclaredGroup>(parent); top && !top->isLoaded())
            return; // it comes with its parent
        product = product == nullptr ? parent : product;
    }
    const auto group = boost::dynamic_pointer_cast<SettingsImpl>(parent);
    if (group == nullptr || group->isLeafNode() || product == nullptr)
        return;
    const std::string& name = service.name;
    if (childCalled(name, group->getChildren()) != nullptr)
        return;
    try {
        const auto added = [&] {
            const DefinesHere definesHere;
            const auto made = groupOfService(service);
            const std::string place = path + '.' + name;
            for (LoadProblem& problem : addGroupsOfServices(made, place, FactorySettingsTracker::start()))
                problems_.add(product->getName(), std::move(problem));
            return made;
        }();
        LateEvents events;
        group->adoptWithEvents({added}, events);
    } catch (...) {
        std::string cause = causeOfCurrentException();
        if (childCalled(name, group->getChildren()) != nullptr) // another thread was quicker
            return;
        VARNEK_LOG(rootLog, error) << "Exception caught: " << path << '.' << name << ": " << cause;
        problems_.add(product->getName(), {path + '.' + name, std::move(cause)});
        return;
    }
    files_->adoptLeftovers(product, true); // values that were kept for it
}

void Toolboxes::takeSubgroups(const std::string& name) {
    if (!takesServices_)
        return;
    std::uint64_t definedAt = 0;
    {
        const std::lock_guard lock(creation_);
        definedAt = definedAt_[name];
    }
    for (const auto& service : FactorySettingsTracker::start().servicesSince(definedAt))
        if (service.parent == name || service.parent.starts_with(name + '.'))
            addSubgroup(service);
}

} // namespace settings::core::detail
