// Checks of values without storing them.

#include "settingscore/ValueCheck.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/settings/node/AliasDestination.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/validation/FunctionValidatorCall.hpp"
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

    void operator()(ShapedArray value) const {
        if (value.first.isVoid())
            throw exception::DefaultValidationFailedOnVoidType(self_);
        if (!settingscore::boostany::isSupportedArray(value.first))
            throw exception::UnsupportedType(self_, settingscore::boostany::typeName(value.first));
        const auto fullName = [this] { return setting_.getFullName(false, "."); };
        runValidators(validators_, {}, self_, parent_, fullName, value.first);
        const auto name = [this] { return setting_.getName(); };
        callFunctionValidator(definition_.getValidator(), self_, parent_, name, value);
    }

  private:
    const SettingsNodeImpl& setting_;
    const boost::shared_ptr<const Settings> self_;
    boost::shared_ptr<Settings> parent_;
    const FactorySettingProperties definition_;
    std::vector<SettingValueValidator> validators_;
};

std::size_t checkLevels(const NodePtr& setting, const Failed& refused) {
    std::size_t count = 0;
    const SettingCheck check(*setting);
    for (const LevelIndex level : levelsInOrder) {
        const ShapedArray value = setting->valueOn(level);
        if (value.first.isVoid())
            continue;
        ++count;
        std::exception_ptr failure;
        try {
            check(value);
        } catch (const std::exception&) {
            failure = std::current_exception();
        }
        if (failure != nullptr)
            refused({setting->getThisObjectImpl(), levelName(level), value.first, failure});
    }
    return count;
}

std::size_t checkBelow(const NodePtr& node, const Failed& refused) {
    if (node->isLeafNode())
        return behindAlias(node) == node ? checkLevels(node, refused) : 0;
    std::size_t count = 0;
    for (const NodePtr& child : node->getChildren())
        count += checkBelow(child, refused);
    return count;
}

} // namespace

void checkValue(const Settings& setting, const varnek::data::Array& value) {
    const NodePtr node = behindAlias(SettingsAccess::mutableNode(setting));
    if (!node->isLeafNode())
        throw exception::NotAKeyName(node->getThisObjectImpl(), node->getName());
    const SettingCheck check(*node);
    check({value, settingscore::boostany::isVectorShape(value)});
}

std::size_t checkStoredValues(const Settings& node,
                              const std::function<void(const RefusedLevelValue&)>& refused) {
    return checkBelow(SettingsAccess::mutableNode(node), refused);
}

} // namespace settings::core
