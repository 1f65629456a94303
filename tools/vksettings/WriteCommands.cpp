// set and unset: changes of one value, saved before the command ends.

#include "Commands.hpp"
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

} // namespace

void set(const SetOptions& options) {
    const Setting setting = resolveSetting(options.name);
    const Saving saving(*setting.handle, options.level);
    const Array value = options.json ? parsedJson(options.value) : parsed(options.value, example(setting));
    try {
        setting.group->set(setting.name, value, options.level);
    } catch (const std::exception& failure) {
        if (!isAboutTheValue(failure))
            throw;
        throw refusedValue(failure, *setting.itself(), value, options.level);
    }
    saving.finish();
}

void unset(const std::string& name, const std::string& level) {
    const Setting setting = resolveSetting(name);
    if (level == "session") // says that there is none
        return setting.group->unset(setting.name, level);
    const Saving saving(*setting.handle, level);
    setting.group->unset(setting.name, level);
    saving.finish();
}

} // namespace vksettings
