// set and unset: changes of one value, saved before the command ends.

#include "Commands.hpp"
#include "SaveOutcome.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

namespace vksettings {

using varnek::data::Array;

namespace {

/// What the setting's values look like: the effective one, else any that it has.
Array example(const Setting& setting) {
    return setting.group->get(setting.name);
}

} // namespace

void set(const SetOptions& options) {
    const Setting setting = resolveSetting(options.name);
    const Array value = options.json ? parsedJson(options.value) : parsed(options.value, example(setting));
    setting.group->set(setting.name, value, options.level);
    requireSaved(*setting.handle, options.level);
}

void unset(const std::string& name, const std::string& level) {
    const Setting setting = resolveSetting(name);
    setting.group->unset(setting.name, level);
    requireSaved(*setting.handle, level);
}

} // namespace vksettings
