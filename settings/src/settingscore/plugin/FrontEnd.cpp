#include "settingscore/plugin/FrontEnd.hpp"

#include "settingscore/plugin/PluginFunction.hpp"

namespace settings {

plugin::FrontEnd::~FrontEnd() = default;

std::unique_ptr<plugin::FrontEnd> core::startFrontEnd(const std::string& name) {
    const detail::PluginFunction start(name + "_frontend", "settingsFrontEnd");
    std::unique_ptr<plugin::FrontEnd> frontEnd;
    start.get<plugin::StartFrontEndFunction>()(frontEnd);
    return frontEnd;
}

} // namespace settings
