#include "settingscore/root/FactorySettingsDefinition.hpp"

#include "settingscore/settings/root/LateSources.hpp"
#include "settingscore/settings/root/LoadTurns.hpp"

#include <map>
#include <mutex>
#include <stdexcept>

namespace settings::core {

namespace {

/// How the code of each language is run, by the extension of its files.
struct Runners {
    std::mutex mutex; // rank "language runners"
    std::map<std::string, FactorySettingsRunner> byExtension;

    static Runners& instance() {
        static auto* const runners = new Runners; // outlives every thread
        return *runners;
    }
    FactorySettingsRunner find(const std::filesystem::path& file) {
        const std::lock_guard lock(mutex);
        const auto found = byExtension.find(file.extension().string());
        return found == byExtension.end() ? FactorySettingsRunner() : found->second;
    }
};

} // namespace

VARNEKFactorySettingsDefinition::VARNEKFactorySettingsDefinition(std::string toolboxGroupName, bool isVisible,
                                                                 std::filesystem::path file)
    : toolboxGroupName_(std::move(toolboxGroupName)), isVisible_(isVisible), file_(std::move(file)) {}
VARNEKFactorySettingsDefinition::~VARNEKFactorySettingsDefinition() = default;

bool VARNEKFactorySettingsDefinition::isAvailable() const {
    return true;
}

ClassDefFactorySettingsDefinition::ClassDefFactorySettingsDefinition(FactorySettingsCode code,
                                                                     std::filesystem::path file)
    : VARNEKFactorySettingsDefinition(code.toolboxGroupName, code.isVisible, std::move(file)),
      code_(std::move(code)) {}

bool ClassDefFactorySettingsDefinition::isAvailable() const {
    return static_cast<bool>(Runners::instance().find(code_.file));
}

boost::optional<varnek::settings::FactoryGroup>
ClassDefFactorySettingsDefinition::createFactorySettings() const {
    const FactorySettingsRunner run = Runners::instance().find(code_.file);
    if (!run)
        throw std::runtime_error("no front end runs \"" + code_.file.string() + "\"");
    return run(code_);
}

DefinitionsForAnotherThread::DefinitionsForAnotherThread(std::thread::id waiter) : waiter_(waiter) {
    if (waiter != std::this_thread::get_id())
        detail::LoadTurns::instance().worksFor(waiter, true);
}
DefinitionsForAnotherThread::~DefinitionsForAnotherThread() {
    if (waiter_ != std::this_thread::get_id())
        detail::LoadTurns::instance().worksFor(waiter_, false);
}

void setFactorySettingsRunner(const std::string& extension, FactorySettingsRunner runner) {
    Runners& runners = Runners::instance();
    {
        const std::lock_guard lock(runners.mutex);
        runners.byExtension[extension].swap(runner); // the one before is let go without the lock
    }
    detail::lookForSourcesInAllTrees();
}

} // namespace settings::core
