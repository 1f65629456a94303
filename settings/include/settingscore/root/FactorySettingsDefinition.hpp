/// Definitions of a toolbox's group that code in the application's language creates.
///
/// A toolbox declares them in a folder of its own below "varnek/settings/toolboxes" of the factory folder,
/// with a file "settingsInfo.json":
///
///     {"ToolboxGroupName": "lab", "FactoryFileName": "lab_settings.py", "Hidden": false}
///
/// "FactoryFileName" is relative to that folder; "Hidden" may be missing. A ".vksettings" file is a factory
/// file like those of the location file. For other files the front end of a language says, by their
/// extension, how to run them; "ClassName" names the class in the file where the language needs one. The
/// group appears when there is such a front end.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/factoryfile/FactoryGroup.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <filesystem>
#include <functional>
#include <string>
#include <thread>

namespace settings::core {

/// Immutable; held by the trees that know it. createFactorySettings() is called on any thread without locks.
class SETTINGSCORE_EXPORT VARNEKFactorySettingsDefinition {
  public:
    /// `file`: what declares the group, for messages.
    VARNEKFactorySettingsDefinition(std::string toolboxGroupName, bool isVisible, std::filesystem::path file);
    VARNEKFactorySettingsDefinition(const VARNEKFactorySettingsDefinition&) = delete;
    VARNEKFactorySettingsDefinition& operator=(const VARNEKFactorySettingsDefinition&) = delete;
    virtual ~VARNEKFactorySettingsDefinition();

    const std::string& getToolboxGroupName() const noexcept { return toolboxGroupName_; }
    bool isVisible() const noexcept { return isVisible_; }
    const std::filesystem::path& getFile() const noexcept { return file_; }

    /// Whether the code can be run now.
    virtual bool isAvailable() const;
    /// Runs the code. Its group is used when it has the name and visibility that are declared; none: there is
    /// no such group. What it throws is told to whoever needs the group.
    virtual boost::optional<varnek::settings::FactoryGroup> createFactorySettings() const = 0;

  private:
    const std::string toolboxGroupName_;
    const bool isVisible_;
    const std::filesystem::path file_;
};

/// The code of one file, or of one class in it.
struct FactorySettingsCode {
    std::filesystem::path file;   ///< absolute
    std::string className;        ///< empty: the whole file
    std::string toolboxGroupName; ///< as it is declared
    bool isVisible = true;
};

/// Runs code; an empty result means that it makes no group. Called on any thread, without locks.
using FactorySettingsRunner =
    std::function<boost::optional<varnek::settings::FactoryGroup>(const FactorySettingsCode& code)>;

/// Definitions in a class of the application's language.
class SETTINGSCORE_EXPORT ClassDefFactorySettingsDefinition : public VARNEKFactorySettingsDefinition {
  public:
    /// `file`: what declares the group.
    ClassDefFactorySettingsDefinition(FactorySettingsCode code, std::filesystem::path file);

    bool isAvailable() const override;
    /// std::runtime_error when no front end runs such files.
    boost::optional<varnek::settings::FactoryGroup> createFactorySettings() const override;

  private:
    const FactorySettingsCode code_;
};

/// Says how files of an extension (".py") are run; an empty runner takes that back. Groups that are declared
/// with such files appear in the trees that are there, with the event of an addition; those that nobody has
/// needed and nothing else defines go again, with the event of a removal. Thread-safe.
SETTINGSCORE_EXPORT void setFactorySettingsRunner(const std::string& extension, FactorySettingsRunner runner);

/// While it lives, this thread makes definitions for another one that waits for it, so that groups which need
/// each other are found out also across the two threads. On the stack of the working thread.
class SETTINGSCORE_EXPORT DefinitionsForAnotherThread {
  public:
    explicit DefinitionsForAnotherThread(std::thread::id waiter);
    DefinitionsForAnotherThread(const DefinitionsForAnotherThread&) = delete;
    DefinitionsForAnotherThread& operator=(const DefinitionsForAnotherThread&) = delete;
    ~DefinitionsForAnotherThread();

  private:
    const std::thread::id waiter_;
};

/// Gives a tree one more definition, in place of one of the same group; it waits while a service or factory
/// files define that group. MSettings::reset starts without it. Listeners hear of a group that is new.
/// SettingsLibraryNotInitialized when there is no such tree; std::invalid_argument for none. Thread-safe.
SETTINGSCORE_EXPORT void
addFactorySettingsDefinition(const RootIndex& tree,
                             const boost::shared_ptr<const VARNEKFactorySettingsDefinition>& definition);

} // namespace settings::core
