/// Where the definitions of one tree's toolbox groups come from: what the location file, loaders and front
/// ends declare. (Services stand in FactorySettingsTracker, for all trees.)
///
/// Thread-safe. mutex_ (rank "location" in ARCHITECTURE.md) guards everything here; loaders are asked under
/// it, once: while the tree is built, or when they come later.
#pragma once

#include "settingscore/root/FactorySettingsDefinition.hpp"
#include "settingscore/settings/root/FactorySettingsTracker.hpp"
#include "settingscore/settings/upgrade/UpgradePosition.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace settings::core::detail {

class ToolboxSources {
  public:
    using Definition = boost::shared_ptr<const VARNEKFactorySettingsDefinition>;
    using Loader = FactorySettingsTracker::Loader;

    struct FactoryFile {
        std::filesystem::path path;
        bool isListed = true;     ///< by the location file or a service; false: registered at run time
        FactoryChanges changes{}; ///< in the place of those in the file; null: those
        bool isOfLoader = false;
        bool operator==(const FactoryFile&) const = default;
    };

    /// Takes (name, cause) of a loader at fault; called without a lock.
    using Refused = std::function<void(const std::string& group, const std::string& cause)>;

    /// Declares the group of each loader, in their order, in the place of what the loader of its name before
    /// has declared. One that throws, or whose path is not absolute, is left out. Whenever a loader comes,
    /// its file precedes those that are listed, and its group is seen when it or the location file says so.
    void takeLoaders(const std::vector<Loader>& loaders, const Refused& refused);
    /// Appends to the files of the group.
    void addFactoryFile(const std::string& group, FactoryFile file);
    void declare(const std::string& group);
    /// Replaces the set whole; loaders' groups beside.
    void setVisibleGroups(std::set<std::string> groups);

    /// What is declared of one group.
    struct Declared {
        bool isDeclared = false;
        bool isShown = false; ///< by others than its loader
        bool isShownByLoader = false;
        std::vector<FactoryFile> files{};
        Definition definition{};

        bool isVisible() const noexcept { return isShown || isShownByLoader; }
    };
    Declared declared(const std::string& group) const;

    struct Change {
        Declared before{}, after{};
    };
    /// In place of all files that the group had; whether users see it when files define it.
    Change setFactoryFiles(const std::string& group, std::vector<FactoryFile> files, bool isVisible);
    Change setDefinition(Definition definition);
    /// What the change replaced is there again, unless something else has been given in its place since.
    void takeBack(const std::string& group, Change change);

    /// In order of their names.
    std::vector<std::string> declaredGroups() const;
    /// Definitions in code say it themselves.
    bool isVisible(const std::string& group) const;
    std::vector<FactoryFile> factoryFiles(const std::string& group) const;
    /// Null when there is none.
    Definition definition(const std::string& group) const;

  private:
    Declared declaredNow(const std::string& group) const; // mutex_ is held

    mutable std::mutex mutex_;
    std::set<std::string> declared_;
    std::set<std::string> visible_;
    std::set<std::string> visibleByLoader_;
    std::map<std::string, std::vector<FactoryFile>> files_;
    std::map<std::string, Definition> definitions_;
};

} // namespace settings::core::detail
