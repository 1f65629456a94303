// set and unset: changes of one value, saved before the command ends.

#include "Commands.hpp"
#include "ForeignFailure.hpp"
#include "InstallationFile.hpp"
#include "Refusal.hpp"
#include "Remote.hpp"
#include "SaveOutcome.hpp"
#include "Shell.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

#include "settingscore/ValueCheck.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "varnek/files/PathText.hpp"

#include <stdexcept>

namespace vksettings {

namespace ex = settings::core::exception;
using varnek::data::TypeCode;

namespace {

/// What values of the setting look like: the factory value, else that of the most general level. A value in
/// effect may have been stored with another type. Of a setting that was made without a value, a text that
/// somebody has stored since says nothing about lists.
ShapedArray example(const Setting& setting, const std::string& text) {
    for (const char* level : {"factory", "installation", "user"}) {
        auto value = valueOn(setting, level);
        if (value.first.isVoid())
            continue;
        const auto type = value.first.type();
        const bool isText = type == TypeCode::character || type == TypeCode::string;
        const bool saysNothing = isText && setting.handle->getOriginLevel() != level && isJsonArray(text);
        return saysNothing ? ShapedArray() : value;
    }
    return {};
}

bool isDeclaredRefusal(const Setting& setting, const ShapedArray& value) {
    try {
        settings::core::checkDeclaratively(*setting.itself(), value.first);
        return false;
    } catch (const ex::ValidationException&) {
        return true;
    }
}

/// What the words mean. Where texts are expected and the declared validators refuse this one, it may be JSON
/// for something else that they take: `1` where a logical or "auto" is asked for.
ShapedArray meant(const SetOptions& options, const Setting& setting) {
    if (options.json)
        return parsedJson(options.value);
    ShapedArray value = parsed(options.value, example(setting, options.value));
    const bool isText = value.first.type() == TypeCode::character || value.first.type() == TypeCode::string;
    if (!isText || !isJson(options.value) || !isDeclaredRefusal(setting, value))
        return value;
    ShapedArray other = parsedJson(options.value);
    return isDeclaredRefusal(setting, other) ? value : other;
}

/// The same; what cannot be read is a refusal of the setting, too.
ShapedArray readable(const SetOptions& options, const Setting& setting) {
    try {
        return meant(options, setting);
    } catch (const std::invalid_argument& failure) {
        const auto text = varnek::data::Array::text(varnek::files::messageUtf16(options.value));
        throw refusedValue(setting.fullName(), {text, false}, options.level, failure.what());
    }
}

/// Calls `change` with the group and the name of the setting there; its change is on the disk afterwards.
template <class Change>
void saveChange(const Setting& setting, const std::string& level, Change change) {
    if (level == "installation") {
        InstallationFile file(productOf(setting.handle));
        file.change(setting, change);
        file.save();
        if (isInShell()) // whose tree has read the file before
            root()->reloadFactoryFile(productOf(setting.handle)->getName());
    } else {
        const Saving saving(*setting.handle, level);
        change(*setting.group, setting.name);
        saving.finish();
    }
}

} // namespace

void set(const SetOptions& options) {
    const Setting setting = resolveSetting(options.name);
    requireOwn(*setting.handle);
    saveChange(setting, options.level, [&](settings::core::Settings& group, const std::string& name) {
        const ShapedArray value = readable(options, setting);
        const auto storeIt = [&] {
            try {
                store(group, name, value, options.level);
            } catch (const std::exception& failure) {
                if (!isAboutTheValue(failure))
                    throw;
                throw refusedValue(std::current_exception(), *setting.itself(), value, options.level);
            }
        };
        callForeign(storeIt, [&] {
            throw refusedValue(std::current_exception(), *setting.itself(), value, options.level);
        });
    });
}

void unset(const UnsetOptions& options) {
    if (options.remote) { // the other process saves it
        const Setting setting = resolveSettingIn(attachRemote(options.name), options.name);
        return setting.group->unset(setting.name, options.level);
    }
    const Setting setting = resolveSetting(options.name);
    requireOwn(*setting.group);
    if (options.level == "session") // says that there is none
        return setting.group->unset(setting.name, options.level);
    saveChange(setting, options.level, [&](settings::core::Settings& group, const std::string& name) {
        group.unset(name, options.level);
    });
}

} // namespace vksettings
