/// A tree of the process over folders of its own, found by its index as an application finds its tree.
#pragma once

#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/settings/level/TreeFolders.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "varnek/files/PathText.hpp"

#include <string>

namespace settings::test {

class StartedTree {
  public:
    using State = boost::shared_ptr<core::detail::SettingsRootStateMgr>;

    explicit StartedTree(int number = 41) : index(number, true, false) {
        const auto folder = [&](const char* name) {
            std::filesystem::create_directories(base / name);
            return varnek::files::utf16FromPath(base / name);
        };
        core::detail::setTreeFolders(
            index,
            {.factory = folder("factory"), .installation = folder("installation"), .user = folder("user")});
    }
    StartedTree(const StartedTree&) = delete;
    StartedTree& operator=(const StartedTree&) = delete;
    ~StartedTree() { end(); }

    /// Puts the factory file of a document in place, its group into the location file.
    void define(const std::string& document, bool isHidden = false) const {
        const auto file = base / "defined.vksettings";
        std::filesystem::remove(file);
        varnek::settings::FactoryFileGenerator::fromText(document, "test").write(file);
        core::installFactoryFile(file, base / "factory", isHidden);
    }
    /// The same for a group with one setting "x".
    void defineOne(const std::string& group, int value = 1, bool isHidden = false) const {
        define("{\"groupName\": \"" + group +
                   "\", \"settings\": [{\"name\": \"x\", \"value\": " + std::to_string(value) + "}]}",
               isHidden);
    }

    /// A new process, as far as the tree is concerned.
    Handle start() {
        end();
        state = core::detail::buildTree(index, base / "factory");
        core::detail::RootStates::instance().insert(index.index(), state);
        return root();
    }
    void end() {
        core::waitForSettingsSaves();
        core::detail::RootStates::instance().erase(index.index());
        state = nullptr;
    }
    Handle root() const { return state->root->getThisObject(); }
    std::filesystem::path userFile(const std::string& group) const {
        return base / "user" / (group + ".vksettings");
    }

    TempFolder base;
    const core::RootIndex index;
    State state;
};

} // namespace settings::test
