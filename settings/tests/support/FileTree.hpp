/// A connected settings tree with its files in a folder of its own, and access to what the files hold.
#pragma once

#include "support/TempFolder.hpp"
#include "support/TestTree.hpp"

#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "varnek/log/Channel.hpp"
#include "json/Value.hpp"

#include <functional>

namespace settings::test {

using core::LevelIndex;
using core::detail::LevelFileKeeper;
using core::detail::LevelFileStatus;
using core::detail::LoadOutcome;
using core::detail::SaveOutcome;

/// A process that starts with the files below `base`: make one, define groups, load them.
class FileTree {
  public:
    /// Without a writer thread, saves are made in the caller.
    explicit FileTree(const std::filesystem::path& base, LevelFileKeeper::WriterThread writer = nullptr);

    /// A new tree over the files of `files`.
    void saveInto(boost::shared_ptr<LevelFileKeeper> files);
    /// Adds a factory group below the root.
    Handle group(const std::string& name) const { return TestTree::childGroup(root, name); }
    /// Reads the group's values of both levels.
    void load(const Handle& group) const;
    std::filesystem::path file(const std::string& group, LevelIndex level = LevelIndex::user) const {
        return keeper->fileOf(group, level);
    }
    LevelFileStatus status(const std::string& group, LevelIndex level = LevelIndex::user) const {
        return keeper->status(group, level);
    }

    boost::shared_ptr<LevelFileKeeper> keeper;
    boost::shared_ptr<core::detail::SettingsImplRoot> rootNode;
    Handle root;
};

/// Sends the files of the preferences directory through the save hook while it lives.
class SavesThroughTheHook {
  public:
    SavesThroughTheHook();
    SavesThroughTheHook(const SavesThroughTheHook&) = delete;
    SavesThroughTheHook& operator=(const SavesThroughTheHook&) = delete;
    ~SavesThroughTheHook();

    /// Where the files are.
    const std::string& folder() const noexcept { return folder_; }

  private:
    std::string folder_;
};

/// The lines that the channels of settings files and of the security plug-in write while it lives.
class FileLogLines {
  public:
    FileLogLines();
    ~FileLogLines();
    /// Those since the last call that contain `text`.
    std::vector<std::string> take(std::string_view text = {});

  private:
    varnek::log::Sink before_;
};

// What is in a package.

std::vector<std::string> partsOf(const std::filesystem::path& file);
std::string partText(const std::filesystem::path& file, const std::string& part);
varnek::json::Object partJson(const std::filesystem::path& file, const std::string& part);
/// The setting object of that name in the JSON of a group.
const varnek::json::Object& settingIn(const varnek::json::Object& group, std::string_view name);
void putPart(const std::filesystem::path& file, const std::string& part, const std::string& text);
void deletePart(const std::filesystem::path& file, const std::string& part);
/// Rewrites a file, encrypted with the password.
void encrypt(const std::filesystem::path& file, const std::string& password);

inline const std::string topPart = "/settingstree/settings.json";

} // namespace settings::test
