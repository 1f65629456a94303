// The one store path: every value of a batch is checked before any of them is stored.

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/exception/ValueTooLargeForFile.hpp"
#include "settingscore/settings/node/AliasDestination.hpp"
#include "settingscore/settings/node/FileFit.hpp"
#include "settingscore/settings/node/NodeLog.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/validation/FullValidation.hpp"

#include <algorithm>

namespace settings::core::detail {

std::vector<boost::shared_ptr<SettingsImpl>> SettingsImpl::storeTargets(std::span<const NodeValue> values) {
    std::vector<boost::shared_ptr<SettingsImpl>> targets;
    targets.reserve(values.size());
    for (const auto& pair : values) {
        auto target = boost::dynamic_pointer_cast<SettingsImpl>(pair.first->unwrap());
        if (target != nullptr && target->isAlias())
            if (const auto group = target->parentGroup())
                target = boost::dynamic_pointer_cast<SettingsImpl>(group->followAlias(target)->unwrap());
        targets.push_back(std::move(target));
    }
    return targets;
}

void SettingsImpl::checkStorable(const ShapedArray& value) const {
    if (value.first.isVoid())
        throw exception::DefaultValidationFailedOnVoidType(getThisObjectImpl());
    if (!settingscore::boostany::isSupportedArray(value.first))
        throw exception::UnsupportedType(getThisObjectImpl(), settingscore::boostany::typeName(value.first));
    if (!fitsIntoFile(value.first))
        throw exception::ValueTooLargeForFile(getThisObjectImpl());
}

ShapedArray SettingsImpl::accepted(ShapedArray value, const boost::shared_ptr<SettingsImpl>& parent) const {
    checkStorable(value);
    const DefinitionHandle definition = keptDefinition();
    if (definition == nullptr || !definition->hasValidators())
        return value;
    const auto self = getThisObjectImpl();
    const auto group = parent == nullptr ? nullptr : parent->getThisObject();
    const auto fullName = [&] {
        const std::string above = parent == nullptr ? std::string() : parent->getFullName(false, ".");
        return above.empty() ? name_ : above + '.' + name_;
    };
    runFullValidation(
        {definition->checks, definition->errorHandler, definition->validator}, self, group, fullName,
        [this] { return name_; }, value);
    checkStorable(value); // what validators have made of it
    return value;
}

std::vector<Failure> SettingsImpl::checkValues(std::span<const NodeValue> values,
                                               const std::vector<boost::shared_ptr<SettingsImpl>>& targets,
                                               bool collect, std::vector<ShapedArray>* accepted) {
    std::vector<Failure> failures;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto& [node, value] = values[i];
        const auto& setting = targets[i];
        try {
            if (setting == nullptr || !setting->isLeafNode()) {
                const NodePtr group = node->getParent();
                throw exception::NotAKeyName((group == nullptr ? node : group)->getThisObjectImpl(),
                                             node->getName());
            }
            if (setting->isReadOnly())
                throw exception::CannotChangeValueForReadOnlySetting(setting->getThisObjectImpl());
            ShapedArray stored = setting->accepted(value, setting->parentGroup());
            if (accepted != nullptr)
                accepted->push_back(std::move(stored));
        } catch (const std::exception& failure) {
            if (!collect)
                throw;
            failures.emplace_back(node->getFullName(false, "."), failure.what());
        }
    }
    return failures;
}

namespace {

/// The node of another process that a node of a batch stands for, which refuses by itself; empty for one of
/// this process.
NodePtr foreignNode(const NodePtr& node) {
    NodePtr target = behindAlias(node);
    return boost::dynamic_pointer_cast<SettingsImpl>(target->unwrap()) == nullptr ? target : NodePtr();
}

} // namespace

std::vector<Failure> SettingsImpl::multipleValidate(std::span<const NodeValue> values, bool collect) const {
    const auto settings = storeTargets(values);
    for (std::size_t i = 0; i < values.size(); ++i)
        if (const NodePtr foreign = settings[i] == nullptr ? foreignNode(values[i].first) : NodePtr())
            foreign->multipleValidate(values.subspan(i, 1), collect);
    return checkValues(values, settings, collect, nullptr);
}

namespace {

/// What is still to be done when the values of a batch are stored: all that is to be saved is asked for
/// before the first callback. Done when it goes out of scope, also when a later value fails for want of
/// memory.
template <class RequestSave>
class StoredBatch {
  public:
    StoredBatch(std::size_t most, RequestSave requestSave) : requestSave_(requestSave) {
        groups_.reserve(most);
    }
    StoredBatch(const StoredBatch&) = delete;
    StoredBatch& operator=(const StoredBatch&) = delete;
    ~StoredBatch() {
        const SavedFirst saving(events_);
        for (const NodePtr& group : groups_)
            requestSave_(*group);
    }
    void add(NodePtr topLevelGroup, EventDelivery::Place event) noexcept {
        events_.add(std::move(event));
        if (topLevelGroup != nullptr &&
            std::find(groups_.begin(), groups_.end(), topLevelGroup) == groups_.end())
            groups_.push_back(std::move(topLevelGroup));
    }

  private:
    RequestSave requestSave_;
    LateEvents events_; // told when it is destroyed, after the saves
    std::vector<NodePtr> groups_;
};

} // namespace

std::vector<Failure> SettingsImpl::multipleSet(std::span<const NodeValue> values, std::string_view level,
                                               bool collect) {
    const LevelIndex at = checkLevel(level);
    const auto settings = storeTargets(values); // once: what was checked is what is stored in
    for (std::size_t i = 0; i < values.size(); ++i)
        if (const NodePtr foreign = settings[i] == nullptr ? foreignNode(values[i].first) : NodePtr())
            foreign->multipleSet(values.subspan(i, 1), level, collect);
    std::vector<ShapedArray> accepted;
    accepted.reserve(values.size());
    std::vector<Failure> failures = checkValues(values, settings, collect, &accepted);
    if (!failures.empty())
        return failures;
    for (const auto& setting : settings)
        setting->checkLevel(level); // what may be modified depends on the tree
    {
        StoredBatch batch(values.size(), [at](SettingsNodeImpl& group) { requestSaveOf(group, at); });
        for (std::size_t i = 0; i < values.size(); ++i) {
            const auto tree = settings[i]->treeContext();
            StoreOutcome outcome = settings[i]->store(at, accepted[i], tree.get());
            if (!outcome.stored || tree == nullptr || !tree->connected)
                continue;
            batch.add(settings[i]->getTopLevelNodeForSave(), std::move(outcome.event));
            if (outcome.effectiveChanged)
                VARNEK_LOG(nodeLog, info) << "Modify setting: " << settings[i]->getFullName(false, ".")
                                          << " at " << level << " level.";
        }
    }
    varnek::concurrency::reclaimIfDue();
    return failures;
}

} // namespace settings::core::detail
