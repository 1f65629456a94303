/// A connected settings tree for tests, with what it asks of its files and tells its listeners on record.
#pragma once

#include "settingscore/Settings.hpp"
#include "settingscore/settings/node/TreeContext.hpp"
#include "settingscore/settings/root/SettingsImplRoot.hpp"

#include <boost/shared_ptr.hpp>

#include <mutex>
#include <string>
#include <vector>

namespace settings::test {

using Handle = boost::shared_ptr<core::Settings>;
using varnek::data::Array;

/// Keeps what a tree asks for, as "save editor user" and "delete editor user".
class RecordedRequests : public core::detail::SaveRequests {
  public:
    void requestSave(const core::detail::NodePtr& topLevelGroup, core::LevelIndex level) override;
    void requestDelete(const core::detail::NodePtr& topLevelGroup, const core::detail::NodePtr& root,
                       core::LevelIndex level) override;
    void loadUserSettings(const core::detail::NodePtr& topLevelGroup) override;

    /// What came since the last call.
    std::vector<std::string> take();

  private:
    void add(std::string line);
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

/// Describes the events that reach the notification hook while it lives, as "changed editor.size was 3",
/// "added editor.size to editor", "removed size from editor".
class RecordedEvents {
  public:
    RecordedEvents();
    ~RecordedEvents();
    std::vector<std::string> take();
};

struct TestTree {
    /// A root of its own; `connected` false: a tree that raises and saves nothing.
    explicit TestTree(bool connected = true);

    Handle group(const std::string& name) const; // adds a factory group below the root
    /// Adds a factory setting; a void value defines a setting without one.
    static Handle setting(const Handle& group, const std::string& name, const Array& factoryValue = {},
                          core::ReadOnlyState readOnly = core::ReadOnlyState::inherited,
                          const std::string& alias = {});
    /// As a loader does: without an event.
    static Handle setting(const Handle& group, const std::string& name,
                          const core::detail::FactorySettingProperties& definition);
    static Handle childGroup(const Handle& parent, const std::string& name,
                             core::ReadOnlyState readOnly = core::ReadOnlyState::inherited,
                             core::LevelIndex origin = core::LevelIndex::factory);

    boost::shared_ptr<RecordedRequests> requests;
    boost::shared_ptr<core::detail::SettingsImplRoot> rootNode;
    Handle root;
};

/// A group outside any tree, as a file is read into.
Handle standaloneGroup(const std::string& name,
                       core::ReadOnlyState readOnly = core::ReadOnlyState::inherited);
/// Puts a value in place as a file does: no check, no event.
void load(const Handle& setting, core::LevelIndex level, const Array& value);

/// What an operation raises, as "ClassName"; "" when it raises nothing.
std::string classOf(const std::exception& failure);
template <class Operation>
std::string failureOf(Operation operation) {
    try {
        operation();
    } catch (const std::exception& failure) {
        return classOf(failure);
    }
    return "";
}

/// The text of a file in the folder of expected results.
std::string golden(const std::string& name);

} // namespace settings::test
