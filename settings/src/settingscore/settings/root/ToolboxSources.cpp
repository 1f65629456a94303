#include "settingscore/settings/root/ToolboxSources.hpp"

#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/root/RootLog.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace settings::core::detail {

void ToolboxSources::takeLoaders(const std::vector<Loader>& loaders, const TakeGroup& take,
                                 const Refused& refused) {
    std::vector<std::pair<std::string, std::string>> failures; // told without the lock
    {
        const std::lock_guard lock(mutex_);
        for (const Loader& loader : loaders) {
            const std::string& name = loader.name;
            try {
                VARNEK_LOG(rootLog, info) << "SettingsImplRoot::call the loader for " << name;
                const bool isVisible = !loader.code->isHidden();
                std::filesystem::path file = loader.code->getFactoryFile();
                if (!file.empty() && !file.is_absolute())
                    throw std::runtime_error("the path of its factory file is not absolute: " +
                                             file.string());
                take(name, isVisible);
                declared_.insert(name);
                auto& known = files_[name];
                const bool isKnown = std::any_of(
                    known.begin(), known.end(), [&](const FactoryFile& other) { return other.path == file; });
                if (!file.empty() && !isKnown) // it may have been registered before
                    known.push_back({std::move(file), true});
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

void ToolboxSources::setFactoryFiles(const std::string& group, std::vector<FactoryFile> files) {
    const std::lock_guard lock(mutex_);
    declared_.insert(group);
    files_[group].swap(files);
}

void ToolboxSources::setDefinition(Definition definition) {
    const std::string& group = definition->getToolboxGroupName();
    const std::lock_guard lock(mutex_);
    declared_.insert(group);
    definitions_[group].swap(definition); // the one before is let go after the lock
}

namespace {

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

} // namespace

void ToolboxSources::declare(const std::string& group) {
    const std::lock_guard lock(mutex_);
    declared_.insert(group);
}

void ToolboxSources::declare(const std::string& group, bool isVisible) {
    const std::lock_guard lock(mutex_);
    declared_.insert(group);
    setMember(visible_, group, isVisible);
}

ToolboxSources::Declared ToolboxSources::declared(const std::string& group) const {
    const std::lock_guard lock(mutex_);
    return {declared_.contains(group), visible_.contains(group), found(files_, group),
            found(definitions_, group)};
}

/// What it replaces is let go after the lock.
void ToolboxSources::restore(const std::string& group, Declared declared) {
    const std::lock_guard lock(mutex_);
    setMember(declared_, group, declared.isDeclared);
    setMember(visible_, group, declared.isVisible);
    files_[group].swap(declared.files);
    definitions_[group].swap(declared.definition);
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
    return visible_.contains(group);
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
