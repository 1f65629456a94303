// Defining a setting and setting its value in one step.

#include "settingscore/MSettings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"

#include <span>

namespace settings::core {

using detail::FactorySettingProperties;
using detail::NodePtr;
using detail::NodeSpec;
using detail::SettingsAccess;
using detail::SettingsImpl;

namespace {

/// Empty where the text or one of its parts is.
std::vector<std::string> partsOf(std::string_view fullName) {
    std::vector<std::string> parts;
    for (;;) {
        const std::size_t dot = fullName.find('.');
        const std::string_view part = fullName.substr(0, dot);
        if (part.empty())
            return {};
        parts.emplace_back(part);
        if (dot == std::string_view::npos)
            return parts;
        fullName.remove_prefix(dot + 1);
    }
}

NodePtr rootOf(const FactorySettingProperties& definition) {
    if (const auto root = definition.getRoot())
        return SettingsAccess::node(*root);
    return detail::TreesOnDemand::instance().find(DefaultRootIndex())->root;
}

using Names = std::span<const std::string>;

/// The last group on the way from `root` that is there; what is not there, the setting at least, remains in
/// `names`.
NodePtr lastPresentGroup(NodePtr root, Names& names) {
    NodePtr group = std::move(root);
    for (; names.size() > 1; names = names.subspan(1)) {
        const NodePtr child = group->getChild(names.front(), true);
        if (child == nullptr)
            break;
        group = child;
    }
    if (group->isLeafNode())
        throw exception::NotANodeName(group->getParent()->getThisObjectImpl(), group->getName());
    return group;
}

/// Puts new groups above a setting that stands apart; returns the topmost node.
boost::shared_ptr<SettingsImpl> withGroups(boost::shared_ptr<SettingsImpl> top, Names names,
                                           const FactorySettingProperties& definition, LevelIndex at) {
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        const auto above = SettingsImpl::makeGroup(NodeSpec::from(*name, definition, at));
        above->adoptChildren({top});
        top = above;
    }
    return top;
}

bool isClash(const exception::SettingsException& failure) {
    return dynamic_cast<const exception::SameNameChildAlreadyExisted*>(&failure) != nullptr ||
           dynamic_cast<const exception::ErrorAddingChildNodeOrKey*>(&failure) != nullptr ||
           dynamic_cast<const exception::ErrorAddingTopLevelNode*>(&failure) != nullptr;
}

/// False when another thread has added a node of that name meanwhile.
bool isAttached(SettingsImpl& parent, const boost::shared_ptr<SettingsImpl>& top, LevelIndex at) {
    try {
        parent.attach(top, at);
        return true;
    } catch (const exception::SettingsException& failure) {
        if (isClash(failure) && parent.getChild(top->getName(), true) != nullptr)
            return false;
        throw;
    }
}

} // namespace

boost::shared_ptr<Settings> Settings::createAndSetValue(std::string_view fullName,
                                                        const FactorySettingProperties& group,
                                                        const FactorySettingProperties& setting,
                                                        std::string_view level) {
    const NodePtr root = rootOf(setting);
    const LevelIndex at = root->checkLevel(level);
    const std::vector<std::string> names = partsOf(fullName);
    if (names.empty())
        throw exception::InvalidNodePath(root->getThisObjectImpl(), std::string(fullName));
    if (names.size() == 1)
        throw exception::CanNotAddKeyToRootException(root->getThisObject());
    const varnek::data::Array& value = setting.getFactoryValue();
    for (;;) {
        Names missing = names;
        const NodePtr parent = lastPresentGroup(root, missing);
        if (missing.size() == 1 && parent->getChild(missing.front(), true) != nullptr) {
            const NodePtr present = parent->findSetting(missing.front());
            if (!value.isVoid())
                parent->setValue(missing.front(), value, settingscore::boostany::isVectorShape(value), level);
            return present->getThisObject();
        }
        const auto local = boost::dynamic_pointer_cast<SettingsImpl>(parent->unwrap());
        if (local == nullptr)
            throw exception::AddingSettingRemotelyIsNotSupported(parent->getName());
        // Built apart, so that nothing is added when anything is refused; attach() checks all of it.
        const auto made = SettingsImpl::makeSetting(NodeSpec::from(missing.back(), setting, at));
        made->putInitialValue(value, at);
        if (isAttached(*local, withGroups(made, missing.first(missing.size() - 1), group, at), at))
            return made->getThisObject();
    }
}

} // namespace settings::core
