#include "InstallationFile.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "varnek/files/PathText.hpp"

#include <vector>

namespace vksettings {

namespace ex = settings::core::exception;

namespace {

std::unique_ptr<varnek::files::FolderLock> lockedFolder() {
    const auto* level =
        settings::core::getSettingsLevelManagerInstance()->getSettingsLevelByName("installation");
    const auto folder = varnek::files::pathFromUtf16(level->levelRootPath());
    return folder.empty() ? nullptr : std::make_unique<varnek::files::FolderLock>(folder);
}

/// From the product down to the node.
std::vector<Handle> chainTo(const Handle& node) {
    std::vector<Handle> chain;
    for (Handle at = node; at != nullptr && !at->isRoot(); at = at->getParent())
        chain.insert(chain.begin(), at);
    return chain;
}

} // namespace

InstallationFile::InstallationFile(const Handle& product)
    : othersOut_(lockedFolder()),
      file_(settings::core::SettingsFileManager::createOrUpdateInstallationFile({}, product->getName())) {
    file_.define(*product);
}

Handle InstallationFile::groupOf(const Setting& setting) const {
    const std::vector<Handle> chain = chainTo(setting.handle);
    Handle group = file_.getTopLevelNode();
    for (std::size_t i = 1; i + 1 < chain.size() && group != nullptr; ++i)
        group = group->getChild(chain[i]->getName());
    if (group == nullptr) // added by somebody, who has removed it again meanwhile
        throw ex::InvalidNodePath(root(), setting.handle->getFullName());
    return group;
}

void InstallationFile::change(const Setting& setting, const Change& change) {
    try {
        change(*groupOf(setting), setting.handle->getName());
    } catch (const ex::CannotChangeValueForReadOnlySetting&) {
        throw ex::CannotChangeValueForReadOnlySetting(setting.handle);
    } catch (const ex::ValueNotDefinedForGivenLevel& failure) {
        throw ex::ValueNotDefinedForGivenLevel(setting.handle, failure.getLevel());
    }
}

Handle productOf(const Handle& node) {
    return chainTo(node).front();
}

} // namespace vksettings
