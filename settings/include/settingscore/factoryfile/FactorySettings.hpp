/// How a toolbox supplies its settings from code: services of the service framework, registered by a bundle
/// below the folder "factory_settings" of the installation, or by the application itself.
///
///     using namespace varnek::settings;
///     class EditorSettings : public FactorySettings {
///         std::string getToolboxGroupName() const override { return "editor"; }
///         void createFactorySettings(FactoryGroup& editor) const override {
///             const auto size = varnek::data::Array::scalar(12.0);
///             editor.addGroup("font").addSetting("size", {true, false, size, {}, {}, false, false, {}});
///         }
///     };
///     context.RegisterService<FactorySettings>(std::make_shared<EditorSettings>());
///
/// The operations are called on any thread, also on several at once. Those of a loader are called with the
/// tree's lock of locations held and must not use settings; the others without locks.
/// What they throw is told to whoever needs the group; it is tried again the next time.
#pragma once

#include "cppmicroservices/ServiceInterface.h"
#include "settingscore/Export.hpp"
#include "settingscore/factoryfile/FactoryGroup.hpp"

#include <filesystem>
#include <string>

namespace varnek::settings {

/// The definitions of one group. One service for each group: of two, the first stays until it leaves.
/// When the last source of a group leaves that nobody has needed, the group goes from the trees.
class SETTINGSCORE_EXPORT FactorySettings {
  public:
    virtual ~FactorySettings();

    // What the group is: asked when the service comes, and not again. A service that throws here is left out.

    virtual std::string getToolboxGroupName() const = 0;
    /// Of a group that is to stand in another toolbox's group: the full name of that one. Empty: a top-level
    /// group.
    virtual std::string getParentName() const;
    virtual bool isVisible() const;

    /// Fills a new group of that name. When it is needed for the first time, and whenever the group is
    /// reloaded. Functions of this process may serve as validators and run-time defaults.
    virtual void createFactorySettings(FactoryGroup& group) const = 0;

  protected:
    FactorySettings() = default;
    FactorySettings(const FactorySettings&) = default;
    FactorySettings& operator=(const FactorySettings&) = default;
};

/// Declares one top-level group whose factory file only the loader knows.
class SETTINGSCORE_EXPORT TopLevelFactoryFileLoader {
  public:
    virtual ~TopLevelFactoryFileLoader();

    /// The group's name. Loaders are taken in the order of their names.
    virtual std::string getName() const = 0;
    /// Whether users do not see the group.
    virtual bool isHidden() const = 0;
    /// An absolute path. Empty: the definitions come from elsewhere, for instance from a FactorySettings.
    virtual std::filesystem::path getFactoryFile() const;
    /// Whether the application needs the file before its start is complete.
    virtual bool isNeededAtStartup() const;

  protected:
    TopLevelFactoryFileLoader() = default;
    TopLevelFactoryFileLoader(const TopLevelFactoryFileLoader&) = default;
    TopLevelFactoryFileLoader& operator=(const TopLevelFactoryFileLoader&) = default;
};

} // namespace varnek::settings

CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(varnek::settings::FactorySettings,
                                           "varnek::settings::FactorySettings")
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(varnek::settings::TopLevelFactoryFileLoader,
                                           "varnek::settings::TopLevelFactoryFileLoader")
