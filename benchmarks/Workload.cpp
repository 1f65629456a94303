#include "Workload.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/startup/init.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

namespace bench {

using varnek::data::Array;
using varnek::settings::FactoryGroup;

namespace {

std::string numbered(const char* format, int number) {
    char text[32];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

FactoryGroup::Properties withValue(Array value) {
    return {true, false, std::move(value), {}, {}, false, false, {}};
}

} // namespace

std::string groupName(int group) {
    return numbered("group%03d", group);
}

std::string settingName(int index) {
    return numbered("setting%03d", index);
}

Folders::Folders() {
    std::string pattern = (std::filesystem::temp_directory_path() / "settings-bench-XXXXXX").string();
    base = ::mkdtemp(pattern.data());
    ::unsetenv("SETTINGS_USERDIR"); // personal files are saved as in an application
    for (const char* variable : {"VARNEK_PREFDIR", "SETTINGS_INSTALLATIONDIR", "SETTINGS_FACTORYDIR"}) {
        std::filesystem::create_directory(base / variable);
        ::setenv(variable, (base / variable).c_str(), 1);
    }
}

Folders::~Folders() {
    std::filesystem::remove_all(base);
}

Handle buildTree(const Folders& folders) {
    for (int g = 0; g < groupCount; ++g) {
        FactoryGroup group(groupName(g));
        for (int s = 0; s < settingsPerGroup; ++s)
            group.addSetting(settingName(s), withValue(Array::scalar(double(g * settingsPerGroup + s))));
        FactoryGroup more = group.addGroup("more");
        more.addSetting("vector", withValue(Array::row(std::vector<double>(100, 1.5))));
        const auto file = folders.base / (groupName(g) + ".vksettings");
        varnek::settings::FactoryFileGenerator(group).write(file);
        settings::core::installFactoryFile(file, folders.base / "SETTINGS_FACTORYDIR", false);
    }
    settings::core::init();
    return settings::core::detail::getSettingsRoot(settings::core::DefaultRootIndex());
}

std::vector<std::pair<int, int>> shuffledKeys() {
    std::vector<std::pair<int, int>> keys;
    for (int g = 0; g < groupCount; ++g)
        for (int s = 0; s < settingsPerGroup; ++s)
            keys.emplace_back(g, s);
    std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
    return keys;
}

} // namespace bench
