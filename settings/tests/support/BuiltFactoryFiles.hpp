/// Factory files that are built from definition documents, and what the checks find in them.
#pragma once

#include "support/FileTree.hpp"
#include "support/TempFolder.hpp"

#include "settingscore/factoryfile/FactoryFileCheck.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"

#include <gtest/gtest.h>

namespace settings::test {

using varnek::settings::compareFactoryFiles;
using varnek::settings::FactoryFileFinding;
using varnek::settings::FactoryFileGenerator;

inline std::string lines(const std::vector<FactoryFileFinding>& findings) {
    std::string text;
    for (const FactoryFileFinding& finding : findings)
        text += std::string(finding.isFailure ? "! " : "- ") + std::string(nameOf(finding.kind)) + " " +
                finding.name + ": " + finding.message + "\n";
    return text;
}

struct BuiltFactoryFiles : testing::Test {
    /// A definition document of "e"; `rest` are members beside the settings.
    std::filesystem::path built(const std::string& name, const std::string& settings,
                                const std::string& rest = "") const {
        const auto file = folder / name;
        std::filesystem::remove(file);
        FactoryFileGenerator::fromText("{\"groupName\": \"e\", \"settings\": [" + settings + "]" + rest + "}",
                                       name)
            .write(file);
        return file;
    }
    /// As no generator writes it.
    std::string check(const std::string& settings, const std::string& upgraders = "[]",
                      const std::string& group = "") const {
        const auto file = built("checked", "");
        putPart(file, topPart, "{\"groupName\": \"e\", \"settings\": [" + settings + "]}");
        if (!group.empty())
            putPart(file, "/settingstree/g/settings.json", group);
        putPart(file, "/upgraders.json", upgraders);
        return lines(varnek::settings::checkFactoryFile(file));
    }
    /// `old` and `now`: the members of the setting "s" but its name.
    std::string compare(const std::string& old, const std::string& now) const {
        return lines(compareFactoryFiles(built("old", "{\"name\": \"s\"" + old + "}"),
                                         built("new", "{\"name\": \"s\"" + now + "}")));
    }

    TempFolder folder;
};

} // namespace settings::test
