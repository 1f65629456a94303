#include "settingscore/factoryfile/FactoryFileGenerator.hpp"

#include "settingscore/factoryfile/DefinitionDocument.hpp"
#include "settingscore/factoryfile/DefinitionKeys.hpp"
#include "settingscore/settings/file/FactoryFileManagerImpl.hpp"
#include "settingscore/settings/file/SettingsFileKeys.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "varnek/files/FileAccess.hpp"
#include "json/Limits.hpp"

#include <stdexcept>

namespace varnek::settings {

using namespace ::settings::core::detail; // NOLINT: this namespace hides the library's own

namespace {

/// Of a document that has been checked.
FactoryUpgrader fromRecord(const UpgraderRecord& record) {
    FactoryUpgrader upgrader{record.versionLabel, {}};
    for (const ChangeRecord& change : record.changes) {
        const bool isMove = change.operation == keys::move;
        upgrader.changes.push_back(
            {isMove ? FactoryChange::Operation::move : FactoryChange::Operation::remove,
             change.inputs.front(), isMove ? change.outputs.front() : std::string()});
    }
    return upgrader;
}

UpgraderRecord toRecord(const FactoryUpgrader& upgrader) {
    UpgraderRecord record{upgrader.versionLabel, {}};
    for (const FactoryChange& change : upgrader.changes) {
        if (change.operation == FactoryChange::Operation::move)
            record.changes.push_back({std::string(keys::move), {change.from}, {change.to}});
        else
            record.changes.push_back({std::string(keys::remove), {change.from}, {}});
    }
    return record;
}

} // namespace

FactoryFileGenerator::FactoryFileGenerator(FactoryGroup group) : group_(std::move(group)) {
    if (group_.handle_->getParent() != nullptr)
        throw std::invalid_argument("a factory file is made from a top-level group, \"" +
                                    group_.getFullName() + "\" is none");
}

FactoryFileGenerator FactoryFileGenerator::fromDocument(const std::filesystem::path& document) {
    return fromText(varnek::files::readFile(document, varnek::json::maximumTextSize), document.string());
}

FactoryFileGenerator FactoryFileGenerator::fromText(std::string_view document, const std::string& name) {
    SettingsFileContent content = readDefinitionDocument(document, name);
    FactoryFileGenerator generator(FactoryGroup::from(std::move(content.tree)));
    for (const UpgraderRecord& upgrader : content.upgraders)
        generator.upgraders_.push_back(fromRecord(upgrader));
    return generator;
}

void FactoryFileGenerator::addUpgrader(FactoryUpgrader upgrader) {
    const std::string path = "$.upgraders[" + std::to_string(upgraders_.size()) + "]";
    std::vector<DefinitionFault> faults;
    if (upgrader.versionLabel.empty())
        faults.push_back({path + ".VersionLabel", "must not be empty"});
    for (std::size_t i = 0; i < upgrader.changes.size(); ++i) {
        const FactoryChange& change = upgrader.changes[i];
        const std::string place = path + ".VersionChanges[" + std::to_string(i) + "]";
        const bool isMove = change.operation == FactoryChange::Operation::move;
        if (change.from.empty())
            faults.push_back({place + ".Inputs", "must name one path"});
        if (change.to.empty() == isMove)
            faults.push_back({place + ".Outputs", isMove ? "must name one path" : "must name no path"});
    }
    if (!faults.empty())
        throw InvalidDefinition(group_.getName(), std::move(faults));
    upgraders_.push_back(std::move(upgrader));
}

void FactoryFileGenerator::write(const std::filesystem::path& file, bool force) const {
    std::vector<UpgraderRecord> records;
    for (const FactoryUpgrader& upgrader : upgraders_)
        records.push_back(toRecord(upgrader));
    writeAsFactoryFile(SettingsAccess::mutableNode(*group_.handle_), file, records, {}, force);
}

} // namespace varnek::settings
