// Defining a setting and setting its value in one step.

#include "settingscore/MSettings.hpp"
#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"

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

    NodePtr parent = root;
    auto next = names.begin();
    for (; next + 1 != names.end(); ++next) {
        const NodePtr child = parent->getChild(*next, true);
        if (child == nullptr)
            break;
        parent = child;
    }
    if (parent->isLeafNode())
        throw exception::NotANodeName(parent->getParent()->getThisObjectImpl(), parent->getName());
    const varnek::data::Array& value = setting.getFactoryValue();
    if (next + 1 == names.end() && parent->getChild(*next, true) != nullptr) {
        const NodePtr present = parent->findSetting(*next);
        if (!value.isVoid())
            parent->setValue(*next, value, settingscore::boostany::isVectorShape(value), level);
        return present->getThisObject();
    }

    // Built apart, so that nothing is added when anything is refused; attach() checks all of it.
    const auto made = SettingsImpl::makeSetting(NodeSpec::from(names.back(), setting, at));
    made->putInitialValue(value, at);
    boost::shared_ptr<SettingsImpl> top = made;
    for (auto name = names.end() - 1; name != next; --name) {
        const auto above = SettingsImpl::makeGroup(NodeSpec::from(*(name - 1), group, at));
        above->adoptChildren({top});
        top = above;
    }
    const auto local = boost::dynamic_pointer_cast<SettingsImpl>(parent->unwrap());
    if (local == nullptr)
        throw exception::AddingSettingRemotelyIsNotSupported(std::string(fullName));
    local->attach(top);
    return made->getThisObject();
}

} // namespace settings::core
