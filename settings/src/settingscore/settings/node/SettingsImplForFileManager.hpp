/// A node of the tree that stands for one settings file and belongs to no root of the process: what factory
/// files are written from and files of the other levels are opened into.
///
/// Only the file's own level can be modified, and that one always, "factory" included.
#pragma once

#include "settingscore/settings/settingsImpl.hpp"

namespace settings::core::detail {

class SettingsImplForFileManager : public SettingsImpl {
  public:
    /// The file's top-level group, or any group or setting for below it.
    static boost::shared_ptr<SettingsImpl> makeGroup(NodeSpec spec, LevelIndex fileLevel);
    static boost::shared_ptr<SettingsImpl> makeSetting(NodeSpec spec, LevelIndex fileLevel);
    /// The root of such a tree, with the file's top-level group as its only child for good: nothing can be
    /// added to it or removed from it.
    static boost::shared_ptr<SettingsImpl> makeRoot(const NodePtr& topLevelGroup, LevelIndex fileLevel);

    LevelIndex checkLevel(std::string_view level) const override;

  protected:
    SettingsImplForFileManager(NodeSpec spec, bool isGroup, LevelIndex fileLevel);

    boost::shared_ptr<SettingsImpl> makeChild(NodeSpec spec, bool isGroup) const override;
    /// What the file itself defines.
    bool mayBeRemoved(const SettingsNodeImpl& child) const override;

  private:
    static boost::shared_ptr<SettingsImpl> make(NodeSpec spec, bool isGroup, LevelIndex fileLevel);

    const LevelIndex fileLevel_;
};

} // namespace settings::core::detail
