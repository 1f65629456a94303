#include "settingscore/factoryfile/FactorySettings.hpp"

namespace varnek::settings {

FactorySettings::~FactorySettings() = default;

std::string FactorySettings::getParentName() const {
    return {};
}

bool FactorySettings::isVisible() const {
    return true;
}

TopLevelFactoryFileLoader::~TopLevelFactoryFileLoader() = default;

std::filesystem::path TopLevelFactoryFileLoader::getFactoryFile() const {
    return {};
}

bool TopLevelFactoryFileLoader::isNeededAtStartup() const {
    return false;
}

} // namespace varnek::settings
