#include "settingscore/settings/node/SettingsImplForFileManager.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"

namespace settings::core::detail {

SettingsImplForFileManager::SettingsImplForFileManager(NodeSpec spec, bool isGroup, LevelIndex fileLevel)
    : SettingsImpl(std::move(spec), isGroup), fileLevel_(fileLevel) {}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::make(NodeSpec spec, bool isGroup,
                                                                 LevelIndex fileLevel) {
    boost::shared_ptr<SettingsImpl> node(new SettingsImplForFileManager(std::move(spec), isGroup, fileLevel));
    finish(node);
    return node;
}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::makeGroup(NodeSpec spec, LevelIndex fileLevel) {
    return make(std::move(spec), true, fileLevel);
}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::makeSetting(NodeSpec spec, LevelIndex fileLevel) {
    return make(std::move(spec), false, fileLevel);
}

boost::shared_ptr<SettingsImpl> SettingsImplForFileManager::makeChild(NodeSpec spec, bool isGroup) const {
    return make(std::move(spec), isGroup, fileLevel_);
}

LevelIndex SettingsImplForFileManager::checkLevel(std::string_view level) const {
    const LevelIndex at = requireLevel(level, [this] { return getThisObjectImpl(); });
    if (at != fileLevel_)
        throw exception::CantModifyValuesOnReadOnlyLevel(getThisObjectImpl(), std::string(level));
    return at;
}

} // namespace settings::core::detail
