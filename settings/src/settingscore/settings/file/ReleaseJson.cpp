#include "settingscore/settings/file/ReleaseJson.hpp"

#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "json/ArrayConversion.hpp"

namespace settings::core::detail {

using varnek::json::Array;
using varnek::json::Object;
using varnek::json::Value;

namespace {

Array writeTexts(const std::vector<std::string>& texts) {
    Array array;
    array.reserve(texts.size());
    for (const std::string& text : texts)
        array.push_back(text);
    return array;
}

std::vector<std::string> readTexts(const MemberReader& members, std::string_view key) {
    std::vector<std::string> texts;
    const Array* array = members.array(key);
    for (std::size_t i = 0; array != nullptr && i < array->size(); ++i) {
        if (!(*array)[i].isString())
            members.place().refuse(ReadError::type, members.pathOf(key) + "[" + std::to_string(i) + "]",
                                   "must be a string");
        texts.emplace_back((*array)[i].asString());
    }
    return texts;
}

Object writeChange(const ChangeRecord& change) {
    Object json;
    json.set(keys::inputs, writeTexts(change.inputs));
    json.set(keys::operation, change.operation);
    json.set(keys::outputs, writeTexts(change.outputs));
    return json;
}

ChangeRecord readChange(const MemberReader& members) {
    ChangeRecord change;
    change.operation = members.string(keys::operation).value_or("");
    change.inputs = readTexts(members, keys::inputs);
    change.outputs = readTexts(members, keys::outputs);
    return change;
}

/// Element `index` of the array at `path`, which must be an object.
MemberReader objectAt(const Array& array, std::size_t index, std::string_view path, const FilePlace& place) {
    if (const Object* object = array[index].ifObject())
        return {*object, path, place, index};
    place.refuse(ReadError::type, std::string(path) + "[" + std::to_string(index) + "]", "must be an object");
}

std::u16string readLabel(const MemberReader& members) {
    const Value* label = members.find(keys::versionLabel);
    if (label == nullptr)
        members.refuse(ReadError::structure, keys::versionLabel, "is missing");
    try {
        return varnek::json::fromTyped(*label).text();
    } catch (const std::exception& failure) {
        members.refuse(ReadError::type, keys::versionLabel, failure.what());
    }
}

UpgraderRecord readUpgrader(const MemberReader& members) {
    UpgraderRecord upgrader;
    upgrader.versionLabel = readLabel(members);
    const Array* changes = members.array(keys::versionChanges);
    const std::string path = members.pathOf(keys::versionChanges);
    for (std::size_t i = 0; changes != nullptr && i < changes->size(); ++i)
        upgrader.changes.push_back(readChange(objectAt(*changes, i, path, members.place())));
    return upgrader;
}

} // namespace

Object writeVersion(const VersionRecord& record) {
    Object json;
    json.set(keys::changeIndex, record.changeIndex);
    json.set(keys::releaseVersion, record.releaseVersion);
    json.set(keys::settingsFileChange, writeChange(record.lastChange));
    json.set(keys::upgraderIndex, record.upgraderIndex);
    return json;
}

VersionRecord readVersion(const Object& json, const FilePlace& place) {
    const MemberReader members(json, "$", place);
    VersionRecord record;
    record.upgraderIndex = members.count(keys::upgraderIndex).value_or(0);
    record.changeIndex = members.count(keys::changeIndex).value_or(0);
    record.releaseVersion = members.string(keys::releaseVersion).value_or("");
    if (const Object* change = members.object(keys::settingsFileChange))
        record.lastChange = readChange({*change, members.pathOf(keys::settingsFileChange), place});
    return record;
}

Array writeUpgraders(const std::vector<UpgraderRecord>& upgraders) {
    Array json;
    for (const UpgraderRecord& upgrader : upgraders) {
        Array changes;
        for (const ChangeRecord& change : upgrader.changes)
            changes.push_back(writeChange(change));
        Object object;
        object.set(keys::versionChanges, std::move(changes));
        object.set(keys::versionLabel,
                   varnek::json::toTyped(varnek::data::Array::text(upgrader.versionLabel)));
        json.push_back(std::move(object));
    }
    return json;
}

std::vector<UpgraderRecord> readUpgraders(const Value& json, const FilePlace& place) {
    const Array* array = json.ifArray();
    if (array == nullptr)
        place.refuse(ReadError::type, "$", "must be an array");
    std::vector<UpgraderRecord> upgraders;
    for (std::size_t i = 0; i < array->size(); ++i)
        upgraders.push_back(readUpgrader(objectAt(*array, i, "$", place)));
    return upgraders;
}

} // namespace settings::core::detail
