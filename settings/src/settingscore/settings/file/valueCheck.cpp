// Checks of values without storing them.

#include "settingscore/ValueCheck.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/exception/ValueTooLargeForFile.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/node/AliasDestination.hpp"
#include "settingscore/settings/node/FileFit.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/validation/ForeignCall.hpp"
#include "settingscore/validation/FullValidation.hpp"
#include "settingscore/validation/ValidationRun.hpp"

namespace settings::core {

namespace {

using namespace detail;
using Failed = std::function<void(const RefusedLevelValue&)>;

/// The rules of one setting, put together once for all its levels.
class SettingCheck {
  public:
    explicit SettingCheck(const SettingsNodeImpl& setting)
        : setting_(setting), self_(setting.getThisObjectImpl()), definition_(setting.definition()) {
        if (const NodePtr parent = setting.getParent())
            parent_ = parent->getThisObject();
        for (const auto& config : definition_.getMultiCheckValueValidators())
            validators_.emplace_back(config);
    }

    void declaratively(varnek::data::Array value) const {
        requireStorable(value);
        runValidators(validators_, {}, self_, parent_, fullName_, value);
        requireStorable(value);
    }

    void operator()(ShapedArray value) const {
        requireStorable(value.first);
        runFullValidation(
            {validators_, {}, definition_.getValidator()}, self_, parent_, fullName_,
            [this] { return setting_.getName(); }, value);
        requireStorable(value.first); // what validators have made of it
    }

  private:
    void requireStorable(const varnek::data::Array& value) const {
        if (value.isVoid())
            throw exception::DefaultValidationFailedOnVoidType(self_);
        if (!settingscore::boostany::isSupportedArray(value))
            throw exception::UnsupportedType(self_, settingscore::boostany::typeName(value));
        if (!fitsIntoFile(value))
            throw exception::ValueTooLargeForFile(self_);
    }

    const SettingsNodeImpl& setting_;
    const boost::shared_ptr<const Settings> self_;
    boost::shared_ptr<Settings> parent_;
    const FactorySettingProperties definition_;
    std::vector<SettingValueValidator> validators_;
    const std::function<std::string()> fullName_ = [this] { return setting_.getFullName(false, "."); };
};

/// What `check` raises; null when it raises nothing. The end of the thread passes, and what asks for it.
template <class Check>
std::exception_ptr failureOf(Check check) {
    std::exception_ptr failure;
    const auto call = [&] {
        try {
            check();
        } catch (const std::exception&) {
            failure = std::current_exception();
        }
    };
    callInterruptibly(call, [&] { failure = std::current_exception(); });
    return failure;
}

std::size_t checkLevels(const NodePtr& setting, const Failed& refused) {
    std::size_t count = 0;
    const SettingCheck check(*setting);
    for (const LevelIndex level : levelsInOrder) {
        const ShapedArray value = setting->valueOn(level);
        if (value.first.isVoid())
            continue;
        ++count;
        if (const std::exception_ptr failure = failureOf([&] { check(value); }))
            refused({setting->getThisObjectImpl(), levelName(level), value.first, failure});
    }
    return count;
}

std::size_t checkBelow(const NodePtr& node, const Failed& refused) {
    if (boost::dynamic_pointer_cast<SettingsImpl>(node->unwrap()) == nullptr)
        return 0; // the other process checks its own values
    if (node->isLeafNode())
        return behindAlias(node) == node ? checkLevels(node, refused) : 0;
    std::size_t count = 0;
    for (const NodePtr& child : node->getChildren())
        count += checkBelow(child, refused);
    return count;
}

NodePtr settingBehind(const Settings& handle) {
    NodePtr node = behindAlias(SettingsAccess::mutableNode(handle));
    if (!node->isLeafNode())
        throw exception::NotAKeyName(node->getThisObjectImpl(), node->getName());
    return node;
}

} // namespace

void checkValue(const Settings& setting, const varnek::data::Array& value) {
    checkValue(setting, value, settingscore::boostany::isVectorShape(value));
}

void checkValue(const Settings& setting, const varnek::data::Array& value, bool isVector) {
    const NodePtr node = settingBehind(setting);
    const SettingCheck check(*node);
    check({value, isVector});
}

void checkDeclaratively(const Settings& setting, const varnek::data::Array& value) {
    const NodePtr node = settingBehind(setting);
    SettingCheck(*node).declaratively(value);
}

std::size_t checkStoredValues(const Settings& node,
                              const std::function<void(const RefusedLevelValue&)>& refused) {
    return checkBelow(SettingsAccess::mutableNode(node), refused);
}

} // namespace settings::core
