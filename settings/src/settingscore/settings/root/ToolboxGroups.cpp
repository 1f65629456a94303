#include "settingscore/root/ToolboxGroups.hpp"

#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"

#include <algorithm>
#include <stdexcept>

namespace settings::core {

std::string_view nameOf(ToolboxSource source) noexcept {
    constexpr std::string_view names[] = {"none", "file", "service", "language"};
    return names[static_cast<std::size_t>(source)];
}

std::vector<ToolboxGroup> getToolboxGroups(const RootIndex& tree) {
    return detail::TreesOnDemand::instance().find(tree)->toolboxes->list();
}

void addFactorySettingsDefinition(
    const RootIndex& tree, const boost::shared_ptr<const VARNEKFactorySettingsDefinition>& definition) {
    if (definition == nullptr)
        throw std::invalid_argument("no definition");
    const auto state = detail::TreesOnDemand::instance().find(tree);
    state->toolboxes->sources().setDefinition(definition);
    state->toolboxes->lookForSources();
}

namespace detail {

void updateToolboxGroup(const RootIndex& tree, const std::string& toolboxGroupName,
                        const std::vector<std::filesystem::path>& factoryFiles, bool isVisible) {
    const auto isUsable = [](const std::filesystem::path& file) { return file.is_absolute(); };
    if (factoryFiles.empty() || !std::all_of(factoryFiles.begin(), factoryFiles.end(), isUsable))
        throw std::invalid_argument("the paths of factory files have to be absolute");
    const auto state = TreesOnDemand::instance().find(tree);
    state->toolboxes->useFiles(toolboxGroupName, factoryFiles, isVisible);
}

void updateToolboxGroupWithFunctions(
    const RootIndex& tree, const boost::shared_ptr<const VARNEKFactorySettingsDefinition>& definition) {
    if (definition == nullptr)
        throw std::invalid_argument("no definition");
    const auto state = TreesOnDemand::instance().find(tree);
    state->toolboxes->useDefinition(definition);
}

std::set<std::filesystem::path> getEarlyStartupFactoryFileNames(const RootIndex& tree) {
    return TreesOnDemand::instance().find(tree)->root->getEarlyStartupFactoryFileNames();
}

} // namespace detail
} // namespace settings::core
