/// The node interface that every `Settings` handle wraps: groups and settings of this process, the root,
/// nodes of other processes, proxies and the nodes of a free-standing file all implement it.
///
/// A parent owns its children; a child refers to its parent weakly. All operations may be called from any
/// thread. Names and levels are compared exactly; an empty level name means the effective value where a value
/// is read. Every failure is an exception of the catalogue, raised before anything changes.
///
/// The operations keep the order they are declared in: their slots are part of the interface.
#pragma once

#include "settingscore/level/LevelIndex.hpp"
#include "settingscore/level/RootIndex.hpp"
#include "settingscore/node/ReleaseChanges.hpp"
#include "settingscore/settings/node/LevelValues.hpp"
#include "settingscore/settings/node/NodeDefinition.hpp"
#include "settingscore/settings/node/TreeContext.hpp"
#include "settingscore/validation/FactorySettingProperties.hpp"
#include "settingscore/validation/ReadOnlyState.hpp"

#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace settings::core {
class Settings;
}

namespace settings::core::detail {

class SettingsNodeImpl;
using NodePtr = boost::shared_ptr<SettingsNodeImpl>;
using ConstNodePtr = boost::shared_ptr<const SettingsNodeImpl>;

/// A setting and the value to store in it.
using NodeValue = std::pair<NodePtr, ShapedArray>;
/// The full name of a setting whose value was refused, and why.
using Failure = std::pair<std::string, std::string>;
/// The two halves of a node's identity; fixed for the node's life and unique in the process.
using NodeIdentity = std::array<std::uint64_t, 2>;

class SettingsNodeImpl {
  public:
    virtual ~SettingsNodeImpl();

    /// The names from the top-level group down, joined by `separator`; with `includeRoot` the root's name
    /// first.
    virtual std::string getFullName(bool includeRoot, std::string_view separator) const = 0;

    // Values of the child setting `name`. A missing child raises NoSuchKey, a group NotAKeyName, an unknown
    // level UnSupportedLevel, in this order; operations that change something check the level first.
    virtual bool isSet(std::string_view name, std::string_view level) const = 0;
    virtual void unset(std::string_view name, std::string_view level) = 0;
    virtual boost::optional<std::uint64_t> getDataTypeIndex(std::string_view name) const = 0;

    /// The direct child, or empty. `load`: a group that is declared but not loaded yet is loaded first.
    virtual ConstNodePtr getChild(std::string_view name, bool load) const = 0;
    virtual NodePtr getChild(std::string_view name, bool load) = 0;
    /// In ascending order of their names.
    virtual std::vector<ConstNodePtr> getChildren() const = 0;
    virtual std::vector<NodePtr> getChildren() = 0;
    virtual NodePtr getParent() const = 0;

    virtual bool isLeafNode() const = 0;
    /// The node's own flag, whatever its parents say.
    virtual bool isVisible() const = 0;
    virtual bool isReadOnly() const = 0;
    virtual bool isRoot() const = 0;
    virtual boost::optional<std::uint32_t> getVersionNumber() const = 0;
    virtual void mergeDescendants(const ConstNodePtr& other, std::string_view level) = 0;
    virtual RootIndex getRootIndex() const = 0;
    virtual NodePtr addSetting(std::string_view name, const FactorySettingProperties& definition,
                               std::string_view level) = 0;
    virtual NodePtr addGroup(std::string_view name, const FactorySettingProperties& definition,
                             std::string_view level) = 0;
    virtual bool isConnectedToTheSettingsTree() const = 0;
    virtual ShapedArray getAny(std::string_view name, std::string_view level) const = 0;
    virtual varnek::data::Array get(std::string_view name, std::string_view level) const = 0;
    virtual boost::shared_ptr<Settings> getThisObject() = 0;
    virtual void setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                          std::string_view level) = 0;

    /// Stores all values or none. `collect`: the failures are returned, otherwise the first one is raised.
    virtual std::vector<Failure> multipleSet(std::span<const NodeValue> values, std::string_view level,
                                             bool collect) = 0;
    virtual std::vector<Failure> multipleValidate(std::span<const NodeValue> values, bool collect) const = 0;
    virtual void removeNode(std::string_view name) = 0;
    virtual void loadUserSettingsOncePerPrefdir() = 0;
    virtual bool needsSyncWithVCOSTree() const = 0;
    virtual void setSyncWithVCOSTree(bool sync) = 0;
    virtual void reloadFactoryFile(std::string_view name) = 0;

    // Internal operations.

    /// The child setting an alias leads to, or the child setting itself; NoSuchKey, NotAKeyName.
    virtual NodePtr findSetting(std::string_view name) const = 0;
    /// The level when it may be modified here; UnSupportedLevel, CantModifyValuesOnReadOnlyLevel.
    virtual LevelIndex checkLevel(std::string_view level) const = 0;
    /// Asks for the level's file of the top-level group to be saved; logs when that cannot be.
    virtual void saveThisSubTree(LevelIndex level) = 0;
    /// The top-level group that holds this node; empty for the root and for nodes outside a tree.
    virtual NodePtr getTopLevelNodeForSave() = 0;
    virtual const std::string& getName() const = 0;
    virtual NodeIdentity identity() const = 0;
    /// Null for a node that stands in no tree.
    virtual boost::shared_ptr<const TreeContext> treeContext() const = 0;
    /// The level that the node was defined or added on.
    virtual LevelIndex originLevel() const = 0;
    virtual ReadOnlyState readOnlyState() const = 0;
    /// Whether the subtree holds a value on the level or a node that was added on it.
    virtual bool hasAnythingToPersist(LevelIndex level) const = 0;
    /// Of this setting itself; a void array for none, and for a group.
    virtual ShapedArray valueOn(LevelIndex level) const = 0;
    /// Puts a value in place that a file holds, or drops one (void): no check, no event, no save. A value
    /// that is in memory already stays; then false.
    virtual bool loadValue(LevelIndex level, ShapedArray value) = 0;
    /// Drops the values that the whole subtree holds on the level: no event, no save.
    virtual void unloadLevel(LevelIndex level) = 0;
    /// Everything the definition says, the flags and the factory value included.
    virtual FactorySettingProperties definition() const = 0;
    virtual varnek::json::Object attributes() const = 0;
    virtual void setAttributes(varnek::json::Object attributes) = 0;
    virtual void setValidator(const ValidatorVariant& validator) = 0;
    virtual void validate() const = 0;
    /// Adds a setting that a definition defines: on level "factory", without a save. `needsSync` goes into
    /// the event. A setting that a definition defined before stays as it is, but takes a run-time default
    /// that it has not; MultipleRuntimeFuncError when both definitions have one. InvalidValidator and
    /// UnsupportedType for a new setting.
    virtual NodePtr createFactorySetting(std::string_view name, const FactorySettingProperties& definition,
                                         bool needsSync = false) = 0;
    /// Adds nodes that a loader built: no check, no event, no save. A name that is taken is
    /// refused like that of an added node; then none of them is added.
    virtual void adoptChildren(std::vector<NodePtr> children) = 0;
    /// Makes `parent` the owner; empty: detaches the node.
    virtual void setParent(const NodePtr& parent) = 0;
    /// The child setting's values for reading them without a lock, or null when the plain way has to be
    /// taken. Only inside a read section.
    virtual const LevelValues* peekValues(std::string_view name) const noexcept = 0;
    /// The direct child for a walk without reference counts, or null. Only inside a read section.
    virtual const SettingsNodeImpl* peekChild(std::string_view name) const noexcept = 0;
    /// The full name that an alias stands for; empty for an ordinary node.
    virtual std::string aliasName() const = 0;
    virtual void registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                                     const std::vector<UpgraderRecord>& upgraders, bool force,
                                     std::string_view name) = 0;
    virtual void writeFactoryFile(const std::u16string& file,
                                  const std::vector<UpgraderRecord>& upgraders) = 0;
    /// A loader for definitions of the group has become available.
    virtual void loaderAdded(std::string_view name) = 0;
    virtual boost::shared_ptr<const Settings> getThisObjectImpl() const = 0;
    /// The node that a proxy stands for; otherwise the node itself.
    virtual NodePtr unwrap() = 0;
    /// Whether children may be added or removed; raises CannotAddRemoveNodeUnderReadOnlyParent with `child`
    /// if not.
    virtual void checkStructureMayChange(const boost::shared_ptr<const Settings>& child,
                                         bool adding) const = 0;
    /// The values of this setting itself, or null for a group and a node of another process.
    virtual const LevelValues* values() const noexcept = 0;
};

} // namespace settings::core::detail
