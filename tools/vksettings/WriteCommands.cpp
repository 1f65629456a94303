// set and unset: changes of one value, saved before the command ends.

#include "Commands.hpp"
#include "InstallationFile.hpp"
#include "Refusal.hpp"
#include "SaveOutcome.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

namespace vksettings {

using varnek::data::Array;

namespace {

/// What values of the setting look like: the factory value, else that of the most general level. A value in
/// effect may have been stored with another type.
Array example(const Setting& setting) {
    for (const char* level : {"factory", "installation", "user"})
        if (Array value = setting.group->get(setting.name, level); !value.isVoid())
            return value;
    return {};
}

/// Calls `change` with the group and the name of the setting there; its change is on the disk afterwards.
template <class Change>
void saveChange(const Setting& setting, const std::string& level, Change change) {
    if (level == "installation") {
        InstallationFile file(productOf(setting.handle));
        file.change(setting, change);
        file.save();
    } else {
        const Saving saving(*setting.handle, level);
        change(*setting.group, setting.name);
        saving.finish();
    }
}

} // namespace

void set(const SetOptions& options) {
    const Setting setting = resolveSetting(options.name);
    saveChange(setting, options.level, [&](settings::core::Settings& group, const std::string& name) {
        const Array value =
            options.json ? parsedJson(options.value) : parsed(options.value, example(setting));
        try {
            group.set(name, value, options.level);
        } catch (const std::exception& failure) {
            if (!isAboutTheValue(failure))
                throw;
            throw refusedValue(failure, *setting.itself(), value, options.level);
        }
    });
}

void unset(const std::string& name, const std::string& level) {
    const Setting setting = resolveSetting(name);
    if (level == "session") // says that there is none
        return setting.group->unset(setting.name, level);
    saveChange(setting, level, [&](settings::core::Settings& group, const std::string& settingName) {
        group.unset(settingName, level);
    });
}

} // namespace vksettings
