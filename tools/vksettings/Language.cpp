#include "Language.hpp"

#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/plugin/FrontEnd.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/host/Environment.hpp"

#include <string>

namespace vksettings {

namespace {

std::unique_ptr<settings::plugin::FrontEnd> started(const std::string& name) {
    const auto failed = [&](const std::string& cause) {
        return NoFrontEnd("the front end \"" + name + "\" (VKSETTINGS_FRONTEND) cannot be started: " + cause);
    };
    try {
        return settings::core::startFrontEnd(name);
    } catch (const settings::core::exception::ErrorLoadingLibrary& failure) {
        throw failed(varnek::files::messageUtf8(failure.getSystemMessage()));
    } catch (const std::exception& failure) {
        throw failed(failure.what());
    }
}

} // namespace

Language::Language() = default;
Language::~Language() = default;

ExitCode Language::run(const std::function<ExitCode()>& work) {
    if (frontEnd_ == nullptr) {
        const auto name = varnek::host::environmentVariable("VKSETTINGS_FRONTEND");
        if (!name || name->empty())
            return work();
        frontEnd_ = started(varnek::files::messageUtf8(*name));
    }
    ExitCode code = done;
    frontEnd_->run([&] { code = work(); });
    return code;
}

} // namespace vksettings
