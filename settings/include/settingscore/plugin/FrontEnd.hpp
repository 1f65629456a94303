/// Brings the front end of an interpreted language into a program that is written in another one.
///
///     const auto python = settings::core::startFrontEnd("python");
///     python->run([&] { group->set("size", 12.0, "user"); }); // functions of the language can check the
///     value
///
/// The front end `name` is the plug-in library `lib<name>_frontend.so` in the plug-in folder of the
/// installation, with the rules of every plug-in (settingscore/plugin/SettingsPlugin.hpp). It exports
///
///     SETTINGS_PLUGIN_FUNCTION void settingsFrontEnd(std::unique_ptr<settings::plugin::FrontEnd>& frontEnd);
#pragma once

#include "settingscore/Export.hpp"

#include <functional>
#include <memory>
#include <string>

namespace settings::plugin {

/// A language in this process, with its engine registered (varnek/host/LanguageEngine.hpp). Made and
/// destroyed on one thread; destroying it ends the language, while no call of run() is under way.
class SETTINGSCORE_EXPORT FrontEnd {
  public:
    virtual ~FrontEnd();

    /// Calls `job` on the engine's thread and waits; what it throws is thrown here. From any thread, that of
    /// the engine included.
    virtual void run(const std::function<void()>& job) = 0;

  protected:
    FrontEnd() = default;
    FrontEnd(const FrontEnd&) = default;
    FrontEnd& operator=(const FrontEnd&) = default;
};

/// What the library exports as "settingsFrontEnd": starts the language. Throws when it cannot.
using StartFrontEndFunction = void(std::unique_ptr<FrontEnd>& frontEnd);

} // namespace settings::plugin

namespace settings::core {

/// Loads a front end and starts its language; once in a process. Raises exception::ErrorLoadingLibrary, the
/// catalogue error CFunctionNotFound, and what the front end throws.
SETTINGSCORE_EXPORT std::unique_ptr<plugin::FrontEnd> startFrontEnd(const std::string& name);

} // namespace settings::core
