// Groups of other processes below the root, and the groups of this process that they replace.

#include "settingscore/Settings.hpp"
#include "settingscore/events/EventTypes.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/node/NodeNames.hpp"
#include "settingscore/settings/root/Redefinition.hpp"
#include "settingscore/settings/root/RootLog.hpp"
#include "settingscore/settings/root/SettingsImplRoot.hpp"
#include "settingscore/settings/root/Toolboxes.hpp"

#include <boost/make_shared.hpp>
#include <boost/thread/locks.hpp>

namespace settings::core::detail {

// ---- the root ----

std::shared_ptr<const varnek::spf::SPFConfiguration> SettingsImplRoot::serviceConfiguration() const {
    const std::lock_guard lock(configurationMutex_);
    return configuration_;
}

void SettingsImplRoot::setServiceConfiguration(
    std::shared_ptr<const varnek::spf::SPFConfiguration> configuration) {
    const std::lock_guard lock(configurationMutex_);
    configuration_.swap(configuration);
}

bool SettingsImplRoot::exchangeGroup(const NodePtr& before, const NodePtr& after, bool needsSync,
                                     LateEvents& events) {
    const auto types = [id = identity()](std::string_view eventClass) {
        return std::vector{eventType(eventClass, id), eventType(settingsEventName, id)};
    };
    const auto reserve = [&](const NodePtr& group) {
        return group == nullptr ? EventDelivery::Place() : EventDelivery::reserve(context_->events);
    };
    if (after != nullptr && !isAcceptableName(after->getName(), {}, true))
        throw exception::InvalidSettingOrGroupName(after->getName());
    EventDelivery::Place removal, addition; // given up, if need be, without the lock
    {
        const boost::unique_lock<boost::shared_mutex> lock(group().mutex);
        ChildTable& children = group().children;
        const NodePtr there = clashing((before == nullptr ? after : before)->getName());
        if (before == nullptr && there != nullptr)
            refuseClash(there);
        if (before != there)
            return false;
        removal = reserve(before);
        addition = reserve(after);
        if (after != nullptr)
            after->setParent(shared_from_this()); // whoever finds it finds it in its place
        try {
            if (after == nullptr)
                children.remove(before->getName());
            else if (before == nullptr)
                children.insert(after);
            else
                children.replace(after);
        } catch (...) {
            if (after != nullptr)
                after->setParent({});
            throw;
        }
        if (before != nullptr)
            before->setParent({});
        removal.complete([&] {
            return boost::make_shared<SettingsRemoveNodeEvent>(
                before->getThisObject(), getThisObject(), types(removeNodeEventName), context_->rootIndex);
        });
        addition.complete([&] {
            return boost::make_shared<SettingsAddNodeEvent>(after->getThisObject(), getThisObject(),
                                                            types(addNodeEventName), context_->rootIndex,
                                                            needsSync);
        });
    }
    events.add(std::move(removal));
    events.add(std::move(addition));
    varnek::concurrency::reclaimIfDue();
    return true;
}

// ---- the groups of this process ----

NodePtr Toolboxes::localGroup(const std::string& name) const {
    const auto root = root_.lock();
    const std::lock_guard lock(creation_);
    if (const auto behind = replaced_.find(name); behind != replaced_.end())
        return behind->second;
    return root == nullptr ? NodePtr() : root->childNamed(name);
}

NodePtr Toolboxes::attachRemote(const NodePtr& remote, LateEvents& events) {
    const auto root = root_.lock();
    if (root == nullptr)
        return {};
    const std::string& name = remote->getName();
    const std::lock_guard lock(creation_);
    for (;;) { // a group may come or go at any moment
        const NodePtr there = root->childNamed(name);
        if (!root->exchangeGroup(there, remote, false, events))
            continue;
        replaced_.insert_or_assign(name, there);
        return there;
    }
}

NodePtr Toolboxes::detachRemote(const NodePtr& remote, LateEvents& events) {
    const auto root = root_.lock();
    const std::lock_guard lock(creation_);
    const auto behind = replaced_.find(remote->getName());
    if (root == nullptr || behind == replaced_.end())
        return {};
    const NodePtr local = behind->second;
    if (!root->exchangeGroup(remote, local, local != nullptr && local->needsSyncWithVCOSTree(), events))
        return {};
    replaced_.erase(behind);
    return local;
}

void Toolboxes::awaitSaves(const std::string& name) {
    for (const LevelIndex level : levelsOfFiles)
        files_->awaitSave(name, level);
}

void Toolboxes::isBack(const NodePtr& group) {
    const auto declared = boost::dynamic_pointer_cast<DeclaredGroup>(group);
    if (declared != nullptr && !declared->isLoaded())
        return; // read when somebody needs it
    try {
        for (const LevelIndex level : levelsOfFiles) {
            loadLevel(group, level);
            if (files_->differsFromFile(group, level))
                group->saveThisSubTree(level);
        }
    } catch (...) {
        VARNEK_LOG(rootLog, error) << "Exception caught: " << causeOfCurrentException();
    }
}

} // namespace settings::core::detail
