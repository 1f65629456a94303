#include "settingscore/factoryfile/DefinitionUpgraders.hpp"

#include "settingscore/factoryfile/DefinitionKeys.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "json/ArrayConversion.hpp"

namespace settings::core::detail {

using varnek::json::Value;

namespace {

/// Plain text or typed text.
std::u16string readLabel(const DefinitionMembers& upgrader) {
    const Value* label = upgrader.find(keys::versionLabel);
    if (label == nullptr) {
        upgrader.reportMember(keys::versionLabel, "is missing");
        return {};
    }
    try {
        const auto array =
            varnek::json::isTyped(*label) ? varnek::json::fromTyped(*label) : varnek::json::fromPlain(*label);
        if (array.type() == varnek::data::TypeCode::character && array.isRowOrColumn())
            return array.text();
    } catch (const varnek::json::ConversionError&) {
        // reported below: whatever is wrong in it, it is no text
    }
    upgrader.reportMember(keys::versionLabel, "must be a text that is not empty");
    return {};
}

void checkNumber(const DefinitionMembers& change, std::string_view key, std::size_t found,
                 std::size_t wanted) {
    if (found == wanted)
        return;
    const char* count =
        wanted == 0 ? "must name no path for the operation \"" : "must name one path for the operation \"";
    change.reportMember(key, count + *change.string(keys::operation) + "\"");
}

ChangeRecord readChange(const DefinitionMembers& change) {
    change.allowOnly({keys::operation, keys::inputs, keys::outputs}, "a change");
    ChangeRecord record;
    record.inputs = change.strings(keys::inputs);
    record.outputs = change.strings(keys::outputs);
    record.operation = change.string(keys::operation).value_or("");
    const bool isMove = record.operation == keys::move;
    if (isMove || record.operation == keys::remove) {
        checkNumber(change, keys::inputs, record.inputs.size(), 1);
        checkNumber(change, keys::outputs, record.outputs.size(), isMove ? 1 : 0);
    } else {
        change.reportMember(keys::operation, "must be \"move\" or \"remove\"");
    }
    return record;
}

} // namespace

std::vector<UpgraderRecord> readDefinedUpgraders(const DefinitionMembers& document) {
    std::vector<UpgraderRecord> upgraders;
    document.forEach(keys::upgraders, [&](const DefinitionMembers& upgrader) {
        upgrader.allowOnly({keys::versionLabel, keys::versionChanges}, "an upgrader");
        UpgraderRecord& record = upgraders.emplace_back();
        record.versionLabel = readLabel(upgrader);
        if (upgrader.find(keys::versionChanges) == nullptr)
            upgrader.reportMember(keys::versionChanges, "is missing");
        upgrader.forEach(keys::versionChanges, [&](const DefinitionMembers& change) {
            record.changes.push_back(readChange(change));
        });
    });
    return upgraders;
}

} // namespace settings::core::detail
