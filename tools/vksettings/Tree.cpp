#include "Tree.hpp"

#include "ForeignFailure.hpp"
#include "Printable.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "settingscore/prefdir/PreferencesDirectory.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "settingscore/startup/init.hpp"
#include "varnek/files/PathText.hpp"

#include <iostream>
#include <set>
#include <utility>

namespace vksettings {

using settings::core::DefaultRootIndex;

namespace {

/// Empty handles when there is nothing of that name.
Setting find(const Handle& from, const std::string& path) {
    for (std::size_t dot = path.find('.');; dot = path.find('.', dot + 1)) {
        const std::string name = path.substr(0, dot);
        const Handle child = from->getChild(name);
        if (dot == std::string::npos)
            return child == nullptr ? Setting() : Setting{from, name, child};
        if (child == nullptr)
            continue;
        if (Setting found = find(child, path.substr(dot + 1)); found.handle != nullptr)
            return found;
    }
}

Setting findOrThrow(const std::string& fullName) {
    Setting found = find(root(), fullName);
    if (found.handle == nullptr)
        throw settings::core::exception::InvalidNodePath(root(), fullName);
    return found;
}

Setting findInOrThrow(const Handle& group, const std::string& fullName) {
    const std::string& name = group->getName();
    if (fullName == name)
        return {rootForRemoteGroups(), name, group};
    Setting found = find(group, fullName.substr(name.size() + 1));
    if (found.handle == nullptr)
        throw settings::core::exception::InvalidNodePath(rootForRemoteGroups(), fullName);
    return found;
}

Setting requireLeaf(Setting found) {
    if (!found.handle->isLeafNode())
        throw settings::core::exception::NotAKeyName(found.group, found.name);
    return found;
}

/// Helps whoever has set up nothing yet.
std::string whereDefinitionsAre() {
    const auto* level = settings::core::getSettingsLevelManagerInstance()->getSettingsLevelByName("factory");
    if (level->levelRootPath().empty())
        return "; SETTINGS_FACTORYDIR names the folder of the factory files";
    const auto folder = varnek::files::pathFromUtf16(level->levelRootPath());
    return "; factory files are listed in " + printable(settings::core::locationFileOf(folder).string());
}

} // namespace

Handle rootForRemoteGroups() {
    static const Handle tree = [] {
        settings::core::init();
        Handle built = settings::core::detail::getSettingsRoot(DefaultRootIndex());
        if (const auto message = settings::core::getTempMessage(); !message.identifier.empty())
            std::cerr << "vksettings: warning: " << printable(varnek::files::messageUtf8(message.text))
                      << '\n';
        return built;
    }();
    return tree;
}

Handle root() {
    static const Handle tree = [] {
        Handle built = rootForRemoteGroups();
        if (built->getChildren().empty())
            std::cerr << "vksettings: warning: no settings are defined" << whereDefinitionsAre() << '\n';
        return built;
    }();
    return tree;
}

bool canBeLoaded(const Handle& group) {
    try {
        group->getChildren();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void warnOfLoadProblems(const std::string& told) {
    static std::set<std::pair<std::string, std::string>> before; // a session tells each of them once
    std::set<std::pair<std::string, std::string>> now;
    for (const auto& [file, message] : settings::core::detail::getLoadProblems(DefaultRootIndex())) {
        now.emplace(file, message);
        const auto isTold = [&](const std::string& text) { return told.find(text) != std::string::npos; };
        const bool isSame = !told.empty() && message.find(told) != std::string::npos;
        if (before.contains({file, message}) || isSame || isTold(message) || isTold('"' + file + '"'))
            continue;
        std::string text = message.find(file) == std::string::npos ? file + ": " : std::string();
        std::cerr << "vksettings: warning: " << printable(text.append(message)) << '\n';
    }
    before.swap(now);
}

Handle resolve(const std::string& fullName) {
    return findOrThrow(fullName).handle;
}

std::string Setting::fullName() const {
    return group->getFullName() + "." + name;
}

Handle Setting::itself() const {
    for (const Handle& child : group->getChildren())
        if (child->getName() == name)
            return child;
    return handle;
}

Setting resolveSetting(const std::string& fullName) {
    return requireLeaf(findOrThrow(fullName));
}

Handle resolveIn(const Handle& group, const std::string& fullName) {
    return findInOrThrow(group, fullName).handle;
}

Setting resolveSettingIn(const Handle& group, const std::string& fullName) {
    return requireLeaf(findInOrThrow(group, fullName));
}

settingscore::boostany::ShapedArray shapedValue(const settings::core::Settings& group,
                                                const std::string& name, const std::string& level) {
    using namespace settingscore::boostany;
    auto value = group.get(name, level);
    // Of another process there is the array and nothing else.
    const bool isVector = isVectorShape(value) ||
                          (!settings::core::isRemote(group) && toArray(group.getAny(name, level)).second);
    return {std::move(value), isVector};
}

/// A cell is a list whatever its flag.
void store(settings::core::Settings& group, const std::string& name,
           const settingscore::boostany::ShapedArray& value, const std::string& level) {
    using namespace settingscore::boostany;
    const auto& [array, isVector] = value;
    const bool needsFlag = isVector && !isVectorShape(array) && isSupportedArray(array);
    if (needsFlag && array.type() != varnek::data::TypeCode::cell)
        group.setAny(name, toAny(array, true), level);
    else
        group.set(name, array, level);
}

settingscore::boostany::ShapedArray valueOn(const Setting& setting, std::string_view level) {
    return callForeign([&] { return shapedValue(*setting.group, setting.name, std::string(level)); },
                       [&] {
                           std::cerr << "vksettings: warning: the run-time default of \""
                                     << printable(setting.fullName()) << "\" ends with an unknown failure\n";
                           return settingscore::boostany::ShapedArray();
                       });
}

/// Level by level, so that a run-time default is computed once.
EffectiveValue effectiveValue(const Setting& setting) {
    for (const auto level : settings::core::levelsInOrder)
        if (auto value = valueOn(setting, settings::core::levelName(level)); !value.first.isVoid())
            return {std::move(value), std::string(settings::core::levelName(level))};
    return {};
}

} // namespace vksettings
