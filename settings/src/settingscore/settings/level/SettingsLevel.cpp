#include "settingscore/level/SettingsLevel.hpp"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/recursive_mutex.hpp>

#include <utility>

namespace settings::core {

boost::recursive_mutex& SettingsLevel::mutex_ = *new boost::recursive_mutex; // rank "level folders"
boost::function<void(const SettingsLevel&)>& SettingsLevel::initFunc_ =
    *new boost::function<void(const SettingsLevel&)>(&SettingsLevel::fillRootPath);

SettingsLevel::SettingsLevel(std::string levelName, RootPathFunction rootPath, bool canBeModified,
                             std::uint64_t fileSlot, bool isFactoryLevel, bool isWorkgroupLevel,
                             bool isUserLevel, bool isInstallationLevel)
    : levelName_(std::move(levelName)), canBeModified_(canBeModified), fileSlot_(fileSlot),
      rootPathFunction_(std::move(rootPath)), isFactoryLevel_(isFactoryLevel),
      isWorkgroupLevel_(isWorkgroupLevel), isUserLevel_(isUserLevel),
      isInstallationLevel_(isInstallationLevel) {}

SettingsLevel::SettingsLevel(const SettingsLevel& other)
    : levelName_(other.levelName_), canBeModified_(other.canBeModified_), fileSlot_(other.fileSlot_),
      rootPathFunction_(other.rootPathFunction_), isFactoryLevel_(other.isFactoryLevel_),
      isWorkgroupLevel_(other.isWorkgroupLevel_), isUserLevel_(other.isUserLevel_),
      isInstallationLevel_(other.isInstallationLevel_) {
    const boost::lock_guard<boost::recursive_mutex> lock(mutex_);
    rootPath_ = other.rootPath_;
    hasRootPath_ = other.hasRootPath_;
}

SettingsLevel::~SettingsLevel() = default;

std::u16string SettingsLevel::levelRootPath() const {
    const boost::lock_guard<boost::recursive_mutex> lock(mutex_);
    initRootPathOnce();
    return rootPath_;
}

void SettingsLevel::initRootPathOnce() const {
    if (!hasRootPath_)
        initFunc_(*this);
}

void SettingsLevel::fillRootPath(const SettingsLevel& level) {
    if (level.rootPathFunction_)
        level.rootPath_ = level.rootPathFunction_();
    level.hasRootPath_ = true;
}

void SettingsLevel::forgetRootPath() const {
    const boost::lock_guard<boost::recursive_mutex> lock(mutex_);
    rootPath_.clear();
    hasRootPath_ = false;
}

} // namespace settings::core
