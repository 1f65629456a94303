// Settings that are handed from user to user in files of their own.

#include "opc/PackageError.hpp"
#include "settingscore/Settings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "settingscore/settings/file/LevelFileKeeper.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"
#include "settingscore/settings/file/TreeLoader.hpp"
#include "settingscore/settings/file/TreeSnapshot.hpp"
#include "settingscore/settings/node/LevelCheck.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "varnek/files/PathText.hpp"

#include <algorithm>
#include <stdexcept>

namespace settings::core {

using namespace detail;

namespace {

using ConstHandle = boost::shared_ptr<const Settings>;

/// From the product down to the node, both included.
std::vector<NodePtr> chainTo(const NodePtr& node) {
    std::vector<NodePtr> chain{node};
    for (NodePtr parent = node->getParent(); parent != nullptr && !parent->isRoot();
         parent = parent->getParent())
        chain.insert(chain.begin(), parent);
    return chain;
}

using Chain = std::vector<NodePtr>;

/// The ways to the nodes, each taken once: the tree may change meanwhile. Raises what forbids their export.
std::vector<Chain> chainsToExport(const std::vector<ConstHandle>& nodes) {
    for (const ConstHandle& node : nodes)
        if (node->isRoot())
            throw exception::CannotExportSettingsRoot(node);
    for (const ConstHandle& node : nodes)
        if (!node->isConnectedToTheSettingsTree())
            throw exception::CannotExportStandaloneSettings(node);
    std::vector<Chain> chains;
    for (const ConstHandle& node : nodes) {
        SettingsAccess::mutableNode(*node)->readOnlyState(); // loads a group that nobody has needed yet
        const NodePtr& top = chains.emplace_back(chainTo(SettingsAccess::mutableNode(*node))).front();
        if (top->getTopLevelNodeForSave() != top)
            throw exception::CannotExportStandaloneSettings(node); // removed this moment
    }
    const NodePtr& first = chains.front().front();
    for (const Chain& chain : chains)
        if (chain.front() != first)
            throw exception::ErrorExportMultipleNodesBelongsToDiffProducts(first->getName(),
                                                                           chain.front()->getName());
    return chains;
}

/// The product with nothing but the way to one node, and what is there.
GroupRecord branchTo(const std::vector<NodePtr>& chain, std::size_t at, LevelIndex level) {
    if (at + 1 == chain.size() && !chain[at]->isLeafNode())
        return snapshotOf(chain[at], level);
    GroupRecord record = shellOf(chain[at], level);
    const NodePtr& next = chain[at + 1];
    if (!next->isLeafNode())
        record.groups.push_back(branchTo(chain, at + 1, level));
    else if (auto setting = snapshotOfSetting(next, level))
        record.settings.push_back(std::move(*setting));
    return record;
}

/// What the definitions of a product declare for personal files of earlier releases; none without a file.
std::vector<UpgraderRecord> upgradersOf(const SettingsNodeImpl& product) {
    const auto* local = dynamic_cast<const SettingsImpl*>(&product);
    const std::filesystem::path file = local == nullptr ? std::string() : local->factoryFile();
    try {
        return file.empty() ? std::vector<UpgraderRecord>()
                            : readSettingsFile(file, FileUse::factory).upgraders;
    } catch (const opc::OpenError& failure) {
        throwNotOpened(failure, file);
    }
}

/// It holds more than an export: what the tree cannot show, and how far it has followed upgrades.
void requireOtherThanTheTreesOwn(const SettingsNodeImpl& product, const std::filesystem::path& file) {
    const auto tree = product.treeContext();
    const auto* files = tree == nullptr ? nullptr : dynamic_cast<const LevelFileKeeper*>(tree->saves.get());
    for (const LevelIndex level : {LevelIndex::user, LevelIndex::installation}) {
        const auto own = files == nullptr ? std::filesystem::path() : files->fileOf(product.getName(), level);
        std::error_code ignored; // one that is not there is no other's either
        const bool isInItsPlace = file.filename() == own.filename() &&
                                  std::filesystem::equivalent(file.parent_path(), own.parent_path(), ignored);
        if (isInItsPlace || std::filesystem::equivalent(file, own, ignored))
            throwNotWritten(file, "it is the file of level \"" + std::string(levelName(level)) + "\" itself");
    }
}

/// Groups that exist for this session only never reach a file.
bool isForThisSessionOnly(const std::vector<NodePtr>& chain) {
    return std::any_of(chain.begin(), chain.end(), [](const NodePtr& node) {
        return !node->isLeafNode() && node->originLevel() == LevelIndex::session;
    });
}

} // namespace

void Settings::exportSettings(const std::vector<ConstHandle>& nodes, const std::u16string& path,
                              std::string_view level) {
    if (nodes.empty() || std::find(nodes.begin(), nodes.end(), nullptr) != nodes.end())
        throw std::invalid_argument("no settings to export");
    const std::filesystem::path file = varnek::files::pathFromUtf16(path);
    if (!file.is_absolute())
        throw exception::ErrorExportOrImportSettingsUsingRelativePath(nodes.front(), path);
    const std::vector<Chain> chains = chainsToExport(nodes);
    const LevelIndex at = requireLevel(level, [&] { return nodes.front(); });
    requireOtherThanTheTreesOwn(*chains.front().front(), file);
    SettingsFileContent content;
    content.tree = shellOf(chains.front().front(), at);
    if (at == LevelIndex::factory)
        content.upgraders = upgradersOf(*chains.front().front());
    for (const Chain& chain : chains)
        if (!isForThisSessionOnly(chain))
            content.tree.addMissing(branchTo(chain, 0, at));
    SettingsFileWriter::write(std::move(content), at, file);
}

boost::shared_ptr<Settings> Settings::importAsStandaloneObject(const std::u16string& path,
                                                               std::string_view level) {
    const std::filesystem::path file = varnek::files::pathFromUtf16(path);
    if (!file.is_absolute())
        throw exception::ErrorExportOrImportSettingsUsingRelativePath(path);
    std::error_code ignored; // a file that may not be looked at is one that cannot be opened
    if (std::filesystem::status(file, ignored).type() == std::filesystem::file_type::not_found)
        throw exception::FileDoesNotExist(path);
    const LevelIndex at = requireLevel(level, [] { return ConstHandle(); });
    try {
        SettingsFileContent content = readSettingsFile(file, FileUse::imported);
        const LoadRules rules{.level = at, .isSecret = content.isEncrypted, .makeNode = makePlainNode};
        return SettingsAccess::wrap(buildTree(std::move(content.tree), rules));
    } catch (const opc::OpenError& failure) {
        throwNotOpened(failure, file);
    }
}

} // namespace settings::core
