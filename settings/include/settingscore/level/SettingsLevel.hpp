/// One of the four levels on which a setting may hold a value.
///
/// Immutable after construction, except for the folder, which is found when it is first asked for.
/// Thread-safe.
#pragma once

#include "settingscore/Export.hpp"

#include <boost/function.hpp>

#include <cstdint>
#include <string>

namespace boost {
class recursive_mutex;
}

namespace settings::core {

namespace detail {
void forgetLevelFolders();
}

class SETTINGSCORE_EXPORT SettingsLevel {
  public:
    using RootPathFunction = boost::function<std::u16string()>;

    /// `rootPath` may be empty: the level has no folder. `fileSlot` is not 0 for a level with files of its
    /// own.
    SettingsLevel(std::string levelName, RootPathFunction rootPath, bool canBeModified,
                  std::uint64_t fileSlot, bool isFactoryLevel, bool isWorkgroupLevel, bool isUserLevel,
                  bool isInstallationLevel);
    /// Takes the folder as well when it has been found.
    SettingsLevel(const SettingsLevel& other);
    SettingsLevel& operator=(const SettingsLevel&) = delete;
    ~SettingsLevel();

    const std::string& levelName() const noexcept { return levelName_; }

    /// The folder of the level's files; empty for "session" and where none is known. The level's root-path
    /// function is called once, by the first caller, with mutex_ held; it may ask for the folder of another
    /// level. What it throws passes to the caller, and the next call tries again. A user folder that cannot
    /// be determined ends the process with status 1.
    std::u16string levelRootPath() const;

    bool canBeModified() const noexcept { return canBeModified_; }
    bool canHaveFile() const noexcept { return fileSlot_ != 0; }
    bool isFactoryLevel() const noexcept { return isFactoryLevel_; }
    bool isWorkgroupLevel() const noexcept { return isWorkgroupLevel_; }
    bool isUserLevel() const noexcept { return isUserLevel_; }
    bool isInstallationLevel() const noexcept { return isInstallationLevel_; }

  private:
    friend void detail::forgetLevelFolders();

    /// mutex_ is held by the caller.
    void initRootPathOnce() const;
    void forgetRootPath() const;
    static void fillRootPath(const SettingsLevel& level);

    // Never destroyed: threads may still ask for a folder while the process ends.
    static boost::function<void(const SettingsLevel&)>& initFunc_; // fills the folder of a level
    static boost::recursive_mutex& mutex_;                         // guards the folders of all levels

    std::string levelName_;
    mutable std::u16string rootPath_;
    mutable bool hasRootPath_ = false;
    bool canBeModified_;
    std::uint64_t fileSlot_;
    RootPathFunction rootPathFunction_;
    bool isFactoryLevel_;
    bool isWorkgroupLevel_;
    bool isUserLevel_;
    bool isInstallationLevel_;
};

} // namespace settings::core
