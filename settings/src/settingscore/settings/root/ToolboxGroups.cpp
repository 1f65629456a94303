#include "settingscore/root/ToolboxGroups.hpp"

#include "settingscore/settings/root/Toolboxes.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"

#include <algorithm>
#include <stdexcept>

namespace settings::core {

namespace {

detail::Toolboxes& toolboxesOf(const detail::SettingsRootStateMgr& tree) {
    return *tree.toolboxes;
}

} // namespace

std::string_view nameOf(ToolboxSource source) noexcept {
    constexpr std::string_view names[] = {"none", "file", "service", "language"};
    return names[static_cast<std::size_t>(source)];
}

std::vector<ToolboxGroup> getToolboxGroups(const RootIndex& tree) {
    return toolboxesOf(*detail::TreesOnDemand::instance().find(tree)).list();
}

void addFactorySettingsDefinition(
    const RootIndex& tree, const boost::shared_ptr<const VARNEKFactorySettingsDefinition>& definition) {
    if (definition == nullptr)
        throw std::invalid_argument("no definition");
    const auto state = detail::TreesOnDemand::instance().find(tree);
    toolboxesOf(*state).sources().setDefinition(definition);
    toolboxesOf(*state).lookForSources();
}

namespace detail {

void updateToolboxGroup(const RootIndex& tree, const std::string& toolboxGroupName,
                        const std::vector<std::filesystem::path>& factoryFiles, bool isVisible) {
    const auto isUsable = [](const std::filesystem::path& file) { return file.is_absolute(); };
    if (factoryFiles.empty() || !std::all_of(factoryFiles.begin(), factoryFiles.end(), isUsable))
        throw std::invalid_argument("the paths of factory files have to be absolute");
    const auto state = TreesOnDemand::instance().find(tree);
    toolboxesOf(*state).useFiles(toolboxGroupName, factoryFiles, isVisible);
}

void updateToolboxGroupWithFunctions(
    const RootIndex& tree, const boost::shared_ptr<const VARNEKFactorySettingsDefinition>& definition) {
    if (definition == nullptr)
        throw std::invalid_argument("no definition");
    const auto state = TreesOnDemand::instance().find(tree);
    toolboxesOf(*state).useDefinition(definition);
}

std::set<std::filesystem::path> getEarlyStartupFactoryFileNames(const RootIndex& tree) {
    return TreesOnDemand::instance().find(tree)->root->getEarlyStartupFactoryFileNames();
}

} // namespace detail
} // namespace settings::core
