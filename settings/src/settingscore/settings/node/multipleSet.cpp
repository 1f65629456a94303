// The one store path: every value of a batch is checked before any of them is stored.

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/settingsImpl.hpp"

#include <algorithm>

namespace settings::core::detail {

namespace {

/// What is stored: the setting itself, wherever a proxy or the caller's handle found it.
boost::shared_ptr<SettingsImpl> settingBehind(const NodePtr& node) {
    return boost::dynamic_pointer_cast<SettingsImpl>(node->unwrap());
}

} // namespace

void SettingsImpl::checkStorable(const ShapedArray& value) const {
    if (value.first.isVoid())
        throw exception::DefaultValidationFailedOnVoidType(getThisObjectImpl());
    if (!settingscore::boostany::isSupportedArray(value.first))
        throw exception::UnsupportedType(getThisObjectImpl(), settingscore::boostany::typeName(value.first));
}

std::vector<Failure> SettingsImpl::multipleValidate(std::span<const NodeValue> values, bool collect) const {
    std::vector<Failure> failures;
    for (const auto& [node, value] : values) {
        try {
            if (!node->isLeafNode())
                throw exception::NotAKeyName(getThisObjectImpl(), node->getName());
            if (node->isReadOnly())
                throw exception::CannotChangeValueForReadOnlySetting(node->getThisObjectImpl());
            if (const auto setting = settingBehind(node))
                setting->checkStorable(value);
        } catch (const std::exception& failure) {
            if (!collect)
                throw;
            failures.emplace_back(node->getFullName(false, "."), failure.what());
        }
    }
    return failures;
}

std::vector<Failure> SettingsImpl::multipleSet(std::span<const NodeValue> values, std::string_view level,
                                               bool collect) {
    const LevelIndex at = checkLevel(level);
    std::vector<Failure> failures = multipleValidate(values, collect);
    if (!failures.empty())
        return failures;
    std::vector<NodePtr> toSave; // one setting per top-level group
    for (const auto& [node, value] : values) {
        const auto setting = settingBehind(node);
        if (setting == nullptr)
            continue;
        const StoreOutcome outcome = setting->store(at, value);
        if (!outcome.stored || !setting->isConnectedToTheSettingsTree())
            continue;
        if (outcome.effectiveChanged)
            setting->announce(outcome, at);
        const NodePtr topLevel = setting->getTopLevelNodeForSave();
        if (topLevel != nullptr && std::find(toSave.begin(), toSave.end(), topLevel) == toSave.end())
            toSave.push_back(topLevel);
    }
    for (const NodePtr& topLevel : toSave)
        topLevel->saveThisSubTree(at);
    varnek::concurrency::reclaimIfDue();
    return failures;
}

} // namespace settings::core::detail
