#include "InstallationFile.hpp"

#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/level/SettingsLevelManager.hpp"
#include "varnek/files/PathText.hpp"

#include <vector>

namespace vksettings {

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

InstallationFile::InstallationFile(const Setting& setting)
    : othersOut_(lockedFolder()), file_([&] {
          const Handle product = chainTo(setting.handle).front();
          auto file =
              settings::core::SettingsFileManager::createOrUpdateInstallationFile({}, product->getName());
          file.define(*product);
          return file;
      }()),
      group_(file_.getTopLevelNode()), name_(setting.handle->getName()) {
    const std::vector<Handle> chain = chainTo(setting.handle);
    for (std::size_t i = 1; i + 1 < chain.size() && group_ != nullptr; ++i)
        group_ = group_->getChild(chain[i]->getName());
    if (group_ == nullptr) // added by somebody, who has removed it again meanwhile
        throw settings::core::exception::InvalidNodePath(root(), setting.handle->getFullName());
}

} // namespace vksettings
