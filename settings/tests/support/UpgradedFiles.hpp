/// Starts of an application over personal files of older releases.
#pragma once

#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/upgrade/KeptFile.hpp"
#include "settingscore/settings/upgrade/LogFileAccess.hpp"
#include "settingscore/settings/upgrade/UserSettingsUpgrade.hpp"
#include "support/FileTree.hpp"

#include <gtest/gtest.h>

namespace settings::test {

using namespace settings::core;
using namespace settings::core::detail;

using Lines = std::vector<std::string>;
using Names = std::vector<std::string>;
using Upgraders = std::vector<UpgraderRecord>;

inline ChangeRecord move(const std::string& from, const std::string& to) {
    return {"move", {from}, {to}};
}
inline ChangeRecord removal(const std::string& path) {
    return {"remove", {path}, {}};
}

/// A group as one release defines it.
struct Product {
    std::string name;
    Names settings; // "font.size" stands in the group "font"
    Upgraders upgraders{};
};

struct UpgradedFiles : testing::Test {
    struct Start : FileTree {
        explicit Start(const std::filesystem::path& base) : FileTree(base) {}
        std::shared_ptr<UserSettingsUpgrade> upgrade = std::make_shared<UserSettingsUpgrade>();
    };

    /// A start of the application with these products; they are loaded in that order.
    Start start(const std::vector<Product>& products) const {
        Start tree(folder.path());
        tree.keeper->setUpgrade(tree.upgrade);
        for (const Product& product : products) {
            tree.upgrade->setFactoryChanges(product.name, product.upgraders);
            const Handle group = tree.group(product.name);
            for (const std::string& name : product.settings)
                define(group, name);
        }
        for (const Product& product : products)
            tree.load(tree.root->getChild(product.name));
        return tree;
    }
    static void define(Handle group, std::string name) {
        for (std::size_t dot = 0; (dot = name.find('.')) != std::string::npos; name.erase(0, dot + 1)) {
            const std::string below = name.substr(0, dot);
            const Handle child = group->getChild(below);
            group = child == nullptr ? TestTree::childGroup(group, below) : child;
        }
        TestTree::setting(group, name, Array::scalar(0.0));
    }
    /// Sets the settings of a product to 1, 2, ... by an earlier release that defines them.
    void use(const Product& product) const {
        const Start tree = start({product});
        double value = 0;
        for (const std::string& name : product.settings) {
            const std::size_t dot = name.rfind('.');
            const std::string path =
                product.name + (dot == std::string::npos ? "" : "." + name.substr(0, dot));
            tree.root->getSettingsByFullName(path)->set(name.substr(dot + 1), ++value, "user");
        }
    }
    /// The personal value; "-" for none.
    static std::string valueOf(const FileTree& tree, const std::string& fullName) {
        const std::size_t dot = fullName.rfind('.');
        const Handle group = tree.root->getSettingsByFullName(fullName.substr(0, dot));
        const std::string name = fullName.substr(dot + 1);
        return group->isSet(name, "user") ? std::to_string(static_cast<int>(group->get<double>(name, "user")))
                                          : "-";
    }
    static std::string valuesOf(const FileTree& tree, const Names& names) {
        std::string text;
        for (const std::string& name : names)
            text += (text.empty() ? "" : " ") + valueOf(tree, name);
        return text;
    }
    std::filesystem::path file(const std::string& group) const {
        return folder / "user" / (group + ".vksettings");
    }
    /// "(1, 2) R2025a"; "none".
    std::string recordIn(const std::string& group) const {
        const Names parts = partsOf(file(group));
        if (std::find(parts.begin(), parts.end(), "/version.json") == parts.end())
            return "none";
        const auto json = partJson(file(group), "/version.json");
        return "(" + std::to_string(json.at("UpgraderIndex").asUint64()) + ", " +
               std::to_string(json.at("ChangeIndex").asUint64()) + ") " +
               std::string(json.at("ReleaseVersion").asString());
    }
    std::vector<ReleaseCompatibilityResults> logOf(const std::string& group,
                                                   std::string_view type = userSettingsUpgrade) const {
        return readResultsLog(resultsLogOf(folder / "user", type))[group];
    }
    /// "Succeeded Failed" of the last run.
    std::string statusesOf(const std::string& group) const {
        std::string text;
        const auto runs = logOf(group);
        for (const VersionResults& version :
             runs.empty() ? std::vector<VersionResults>() : runs.back().results)
            for (const OperationResult& result : version.versionChanges)
                text += (text.empty() ? "" : " ") + std::string(nameOf(result.status));
        return text;
    }

    TempFolder folder;
};

/// Values that move between groups.
struct AcrossGroups : UpgradedFiles {
    /// Nothing has failed in any run.
    void expectNoFailure() const {
        for (const auto& [group, runs] : readResultsLog(resultsLogOf(folder / "user", userSettingsUpgrade)))
            for (const auto& run : runs)
                for (const VersionResults& version : run.results)
                    for (const OperationResult& result : version.versionChanges)
                        EXPECT_NE(ResultStatus::failed, result.status)
                            << group << ": " << result.inputs.at(0);
    }
};

} // namespace settings::test
