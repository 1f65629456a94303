#include "settingscore/settings/root/ToolboxSources.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/root/RootLog.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace settings::core::detail {

namespace {

using FactoryFile = ToolboxSources::FactoryFile;

void setMember(std::set<std::string>& set, const std::string& name, bool isMember) {
    if (isMember)
        set.insert(name);
    else
        set.erase(name);
}

template <class Of>
Of found(const std::map<std::string, Of>& map, const std::string& name) {
    const auto entry = map.find(name);
    return entry == map.end() ? Of() : entry->second;
}

std::filesystem::path fileOf(const FactorySettingsTracker::Loader& loader) {
    std::filesystem::path file = loader.code->getFactoryFile();
    if (!file.empty() && !file.is_absolute())
        throw std::runtime_error("the path of its factory file is not absolute: " + file.string());
    return file;
}

/// Where it stands does not depend on what came first: behind those that were given at run time.
void enterFileOfLoader(std::vector<FactoryFile>& files, std::filesystem::path file) {
    std::erase_if(files, [](const FactoryFile& other) { return other.isOfLoader; });
    const auto isTheSame = [&](const FactoryFile& other) { return other.path == file; };
    if (file.empty() || std::any_of(files.begin(), files.end(), isTheSame))
        return;
    const auto listed =
        std::find_if(files.begin(), files.end(), [](const FactoryFile& other) { return other.isListed; });
    files.insert(listed, {.path = std::move(file), .isOfLoader = true});
}

} // namespace

void ToolboxSources::takeLoaders(const std::vector<Loader>& loaders, const Refused& refused) {
    std::vector<std::pair<std::string, std::string>> failures; // told without the lock
    {
        const std::lock_guard lock(mutex_);
        for (const Loader& loader : loaders) {
            const std::string& name = loader.name;
            try {
                VARNEK_LOG(rootLog, info) << "SettingsImplRoot::call the loader for " << name;
                const bool isVisible = !loader.code->isHidden();
                std::filesystem::path file = fileOf(loader);
                declared_.insert(name);
                setMember(visibleByLoader_, name, isVisible);
                enterFileOfLoader(files_[name], std::move(file));
            } catch (...) { // the others go on
                failures.emplace_back(name, causeOfCurrentException());
            }
        }
    }
    for (const auto& [name, cause] : failures)
        refused(name, cause);
}

void ToolboxSources::addFactoryFile(const std::string& group, FactoryFile file) {
    const std::lock_guard lock(mutex_);
    declared_.insert(group);
    files_[group].push_back(std::move(file));
}

void ToolboxSources::declare(const std::string& group) {
    const std::lock_guard lock(mutex_);
    declared_.insert(group);
}

ToolboxSources::Declared ToolboxSources::declaredNow(const std::string& group) const {
    return {declared_.contains(group), visible_.contains(group), visibleByLoader_.contains(group),
            found(files_, group), found(definitions_, group)};
}

ToolboxSources::Declared ToolboxSources::declared(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    return declaredNow(group);
}

// What is replaced is let go after the lock: the caller has it.

ToolboxSources::Change ToolboxSources::setFactoryFiles(const std::string& group,
                                                       std::vector<FactoryFile> files, bool isVisible) {
    Change change;
    const std::lock_guard lock(mutex_);
    change.before = declaredNow(group);
    declared_.insert(group);
    setMember(visible_, group, isVisible);
    visibleByLoader_.erase(group);
    files_[group].swap(files);
    change.after = declaredNow(group);
    return change;
}

ToolboxSources::Change ToolboxSources::setDefinition(Definition definition) {
    Change change;
    const std::string group = definition->getToolboxGroupName();
    const std::lock_guard lock(mutex_);
    change.before = declaredNow(group);
    declared_.insert(group);
    definitions_[group].swap(definition);
    change.after = declaredNow(group);
    return change;
}

namespace {

/// Whether that is what the change made.
template <class Value>
bool isFrom(const Value& before, const Value& after, const Value& now) {
    return !(before == after) && now == after;
}

} // namespace

void ToolboxSources::takeBack(const std::string& group, Change change) {
    auto [before, after] = std::move(change);
    const std::lock_guard lock(mutex_);
    const Declared now = declaredNow(group);
    if (now.files == after.files) { // else the visibility came with other files, too
        files_[group].swap(before.files);
        if (isFrom(before.isShown, after.isShown, now.isShown))
            setMember(visible_, group, before.isShown);
        if (isFrom(before.isShownByLoader, after.isShownByLoader, now.isShownByLoader))
            setMember(visibleByLoader_, group, before.isShownByLoader);
    }
    if (isFrom(before.definition, after.definition, now.definition))
        definitions_[group].swap(before.definition);
    if (!before.isDeclared && found(files_, group).empty() && found(definitions_, group) == nullptr)
        declared_.erase(group);
}

void ToolboxSources::setVisibleGroups(std::set<std::string> groups) {
    const std::lock_guard lock(mutex_);
    visible_.swap(groups);
}

std::vector<std::string> ToolboxSources::declaredGroups() const {
    const std::lock_guard lock(mutex_);
    return {declared_.begin(), declared_.end()};
}

bool ToolboxSources::isVisible(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    return declaredNow(group).isVisible();
}

std::vector<ToolboxSources::FactoryFile> ToolboxSources::factoryFiles(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    return found(files_, group);
}

ToolboxSources::Definition ToolboxSources::definition(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    return found(definitions_, group);
}

} // namespace settings::core::detail
