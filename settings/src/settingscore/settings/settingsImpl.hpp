/// A group or a setting that lives in this process.
///
/// Reading takes no lock: children and values are immutable snapshots. Changes of one group's children and of
/// its settings' values are serialised by that group's lock (rank "node" in ARCHITECTURE.md), which is never
/// held while validators, listeners, save requests or the file system are called, and never together with
/// another node's lock.
#pragma once

#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/settings/node/AliasTable.hpp"
#include "settingscore/settings/node/ChildTable.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

#include <boost/enable_shared_from_this.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/shared_mutex.hpp>
#include <boost/weak_ptr.hpp>

#include <atomic>
#include <functional>
#include <memory>

namespace settings::core::detail {

class SettingsImpl;

/// What only a group has. Children point here, so it outlives the group until no reader can see it.
struct GroupState {
    boost::weak_ptr<SettingsImpl> self;
    boost::shared_mutex mutex; // rank "node": children, aliases and the values of the child settings
    ChildTable children;
    AliasTable aliases;
    std::atomic<std::uint64_t> version{0}; // of the definitions: 0 for none, else the number plus one
};

/// How a node is to be made.
struct NodeSpec {
    std::string name;
    LevelIndex origin = LevelIndex::factory;
    ReadOnlyState readOnly = ReadOnlyState::inherited;
    bool visible = true;
    std::unique_ptr<NodeDefinition> definition;           // null: nothing beyond the above
    boost::optional<std::uint32_t> version = boost::none; // groups only
    ShapedArray value;                                    // settings only, taken as it is; void: none
    LevelIndex valueLevel = LevelIndex::factory;

    /// The flags and the kept part of a definition.
    static NodeSpec from(std::string_view name, const FactorySettingProperties& properties,
                         LevelIndex origin);
};

class SettingsImpl : public SettingsNodeImpl, public boost::enable_shared_from_this<SettingsImpl> {
  public:
    static boost::shared_ptr<SettingsImpl> makeGroup(NodeSpec spec);
    static boost::shared_ptr<SettingsImpl> makeSetting(NodeSpec spec);
    ~SettingsImpl() override;

    std::string getFullName(bool includeRoot, std::string_view separator) const override;
    bool isSet(std::string_view name, std::string_view level) const override;
    void unset(std::string_view name, std::string_view level) override;
    boost::optional<std::uint64_t> getDataTypeIndex(std::string_view name) const override;
    ConstNodePtr getChild(std::string_view name, bool load) const override;
    NodePtr getChild(std::string_view name, bool load) override;
    std::vector<ConstNodePtr> getChildren() const override;
    std::vector<NodePtr> getChildren() override;
    NodePtr getParent() const override;
    bool isLeafNode() const override { return group_ == nullptr; }
    bool isVisible() const override { return visible_.load(std::memory_order_relaxed); }
    bool isReadOnly() const override;
    bool isRoot() const override { return false; }
    boost::optional<std::uint32_t> getVersionNumber() const override;
    void mergeDescendants(const ConstNodePtr& other, std::string_view level) override;
    RootIndex getRootIndex() const override;
    NodePtr addSetting(std::string_view name, const FactorySettingProperties& definition,
                       std::string_view level) override;
    NodePtr addGroup(std::string_view name, const FactorySettingProperties& definition,
                     std::string_view level) override;
    bool isConnectedToTheSettingsTree() const override;
    ShapedArray getAny(std::string_view name, std::string_view level) const override;
    varnek::data::Array get(std::string_view name, std::string_view level) const override;
    boost::shared_ptr<Settings> getThisObject() override;
    void setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                  std::string_view level) override;
    std::vector<Failure> multipleSet(std::span<const NodeValue> values, std::string_view level,
                                     bool collect) override;
    std::vector<Failure> multipleValidate(std::span<const NodeValue> values, bool collect) const override;
    void removeNode(std::string_view name) override;
    void loadUserSettingsOncePerPrefdir() override;
    bool needsSyncWithVCOSTree() const override { return needsSync_.load(std::memory_order_relaxed); }
    void setSyncWithVCOSTree(bool sync) override { needsSync_.store(sync, std::memory_order_relaxed); }
    void reloadFactoryFile(std::string_view name) override;

    NodePtr findSetting(std::string_view name) const override;
    LevelIndex checkLevel(std::string_view level) const override;
    void saveThisSubTree(LevelIndex level) override;
    NodePtr getTopLevelNodeForSave() override;
    const std::string& getName() const override { return name_; }
    NodeIdentity identity() const override;
    boost::shared_ptr<const TreeContext> treeContext() const override;
    LevelIndex originLevel() const override { return origin_; }
    ReadOnlyState readOnlyState() const override { return readOnly_.load(std::memory_order_relaxed); }
    bool hasAnythingToPersist(LevelIndex level) const override;
    ShapedArray valueOn(LevelIndex level) const override { return values_.on(level); }
    bool loadValue(LevelIndex level, ShapedArray value) override;
    void unloadLevel(LevelIndex level) override;
    FactorySettingProperties definition() const override;
    varnek::json::Object attributes() const override;
    void setAttributes(varnek::json::Object attributes) override;
    void setValidator(const ValidatorVariant& validator) override;
    void validate() const override;
    NodePtr createFactorySetting(std::string_view name, const FactorySettingProperties& definition,
                                 bool needsSync) override;
    void adoptChildren(std::vector<NodePtr> children) override;
    void setParent(const NodePtr& parent) override;
    const LevelValues* peekValues(std::string_view name) const noexcept override;
    const SettingsNodeImpl* peekChild(std::string_view name) const noexcept override;
    std::string aliasName() const override;
    void registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                             const std::vector<UpgraderRecord>& upgraders, bool force,
                             std::string_view name) override;
    void writeFactoryFile(const std::u16string& file, const std::vector<UpgraderRecord>& upgraders) override;
    void loaderAdded(std::string_view name) override;
    boost::shared_ptr<const Settings> getThisObjectImpl() const override;
    NodePtr unwrap() override { return shared_from_this(); }
    void checkStructureMayChange(const boost::shared_ptr<const Settings>& child, bool adding) const override;
    const LevelValues* values() const noexcept override;

    // What somebody else has changed in a file: no check and no save, but events as for every change.

    /// Replaces `before` by `now` (void: none) unless the level holds something else by now; then false.
    bool replaceValue(LevelIndex level, const ShapedArray& before, const ShapedArray& now,
                      LateEvents& events);
    /// adoptChildren() with an event for each of them.
    void adoptWithEvents(const std::vector<NodePtr>& children, LateEvents& events);
    /// Takes a child out of the tree; nothing when it is not there any more.
    void dropChild(const NodePtr& child, LateEvents& events);

    /// Adds a node that was made outside any tree, with all that is below it: the checks, the event and the
    /// saves of an addition. The values on level `checked` go through the validators, and what those accept
    /// is stored. ErrorAddingChildNodeOrKey for a node that stands in a group, is a root, or is this group or
    /// above it.
    void attach(const boost::shared_ptr<SettingsImpl>& child, LevelIndex checked = LevelIndex::user);

    /// The first value of a setting that nobody else has yet; void: none. It is checked as by addSetting, and
    /// InvalidValidator is raised when the validation function cannot be found.
    void setInitialValue(const varnek::data::Array& value, LevelIndex level);
    /// The same for a setting that is still to be attached, which checks what is to be checked; here only
    /// whether a setting may hold the value.
    void putInitialValue(const varnek::data::Array& value, LevelIndex level);

    /// Of a top-level group: the factory file that its definitions come from, UTF-8; empty when there is
    /// none.
    std::string factoryFile() const;
    void setFactoryFile(std::string path);

    /// Takes what `fresh`, a node outside every tree, says of this one: flags, definition, version and the
    /// value on "factory", whose changes are announced. Not the children.
    void redefine(const SettingsImpl& fresh, LateEvents* events);

  protected:
    SettingsImpl(NodeSpec spec, bool isGroup);
    /// Gives a node made by a derived class its self reference; call once, after the shared handle exists.
    static void finish(const boost::shared_ptr<SettingsImpl>& node);

    /// A node of the same family for a child that is added here.
    virtual boost::shared_ptr<SettingsImpl> makeChild(NodeSpec spec, bool isGroup) const;
    /// The child that leaves no room for one called `name`, or empty. Called under the group's lock as well.
    virtual NodePtr clashing(std::string_view name) const;
    [[noreturn]] virtual void refuseClash(const NodePtr& existing) const;
    /// The same when the name was free a moment before.
    [[noreturn]] virtual void refuseInsertion(const std::string& name) const;
    /// Whether removeNode() may take a child out: what factory definitions made stays.
    virtual bool mayBeRemoved(const SettingsNodeImpl& child) const;
    /// Raises what forbids to take over nodes that a loader built. Called under the group's lock.
    virtual void checkAdoptable(const std::vector<NodePtr>& children) const;

    /// Called before the children of this group change or are added to.
    virtual void requireContent() const {}

    /// adoptChildren() of a group as it is; the places of the events, where somebody wants them.
    void adopt(const std::vector<NodePtr>& children, std::vector<EventDelivery::Place>* places);

    GroupState& group() const { return *group_; }

  private:
    struct WriterLock {
        boost::shared_ptr<SettingsImpl> owner; // keeps the mutex alive; released after the lock
        boost::upgrade_lock<boost::shared_mutex> lock;
    };

    using DefinitionHandle = boost::shared_ptr<const NodeDefinition>;

    /// Why a read cannot take the value as it lies here.
    enum IndirectRead : std::uint8_t { alias = 1, runTimeDefault = 2 };

    struct StoreOutcome {
        bool stored = false;
        bool effectiveChanged = false;
        varnek::data::Array before{}; // the effective value that was
        EventDelivery::Place event{}; // complete, still to be told
    };

    /// The lock of the settings outside any group: removed ones, and those made outside any tree.
    static boost::shared_mutex& orphanMutex(); // rank "node"
    boost::shared_ptr<SettingsImpl> parentGroup() const;
    /// The lock that serialises writers of this setting's values, taken.
    WriterLock lockForWriting() const;
    /// Does nothing when the level holds the value already, or something else than `onlyInPlaceOf`.
    StoreOutcome store(LevelIndex level, const ShapedArray& value, const TreeContext* tree,
                       const ShapedArray* onlyInPlaceOf = nullptr);
    static std::uint8_t dataTypeOf(const ShapedArray& value);
    void recordDataType(const ShapedArray& value);
    EventHandle changeEvent(const StoreOutcome& outcome, const TreeContext& tree);
    EventHandle addEvent(const NodePtr& child);
    EventHandle removeEvent(const NodePtr& child);
    /// What files have brought need not be saved: its event may be told at any time.
    enum class Origin : bool { caller, file };
    static EventDelivery::Place reserveEvent(const TreeContext* tree, Origin origin = Origin::caller);
    /// Asks for the save of a change that is made; what fails is logged.
    static void requestSaveOf(SettingsNodeImpl& node, LevelIndex level) noexcept;
    void checkStorable(const ShapedArray& value) const;
    bool isAlias() const noexcept {
        return (indirectReads_.load(std::memory_order_relaxed) & IndirectRead::alias) != 0;
    }
    /// Null when there is nothing beyond name, flags and factory value.
    DefinitionHandle keptDefinition() const;
    void takeDefinition(std::unique_ptr<NodeDefinition> definition);
    /// The form in which this setting stores the value, after the test of its type and all validators.
    /// `parent`: the group that it stands or is to stand in. Runs foreign code: without locks.
    ShapedArray accepted(ShapedArray value, const boost::shared_ptr<SettingsImpl>& parent) const;
    /// What the definition's function gives, as it would be stored; void without a function or when it fails.
    ShapedArray evaluateRunTimeDefault() const;
    /// InvalidValidator when the validation function of a new setting cannot be found.
    void requireValidator() const;
    /// NotANodeName for a setting.
    void requireGroup() const;
    /// Returns the event, to be told, in a connected tree.
    EventDelivery::Place insertChild(const NodePtr& child, const TreeContext* tree);
    void checkNewName(std::string_view name) const;
    enum class Saving : bool { no, yes };
    /// After the insertion, without locks: asks for the saves, then tells the event. Nothing in a tree that
    /// is not connected.
    void announceAdded(const NodePtr& child, const TreeContext* tree, EventDelivery::Place place,
                       Saving saving);
    /// The names and validation functions of a subtree that is to stand below `parentName`. Without locks.
    void checkSubtree(const std::string& parentName, bool isTopLevel) const;
    /// A value and the form in which its setting stores it.
    struct AcceptedValue {
        boost::shared_ptr<SettingsImpl> setting;
        ShapedArray before, now;
    };
    /// Checks the values of this subtree on one level; it has its parent already. Without locks.
    void acceptValues(LevelIndex level, std::vector<AcceptedValue>& values);
    /// Puts `now` in the place of `before`, unless the level holds something else by now, without a trace:
    /// the recorded data type changes with it, and there is no event.
    void exchange(LevelIndex level, const ShapedArray& before, const ShapedArray& now);
    /// Makes this group the parent of a node that has none: ErrorAddingChildNodeOrKey.
    void claim(const boost::shared_ptr<SettingsImpl>& child);
    /// Takes back that this group is the parent of a node that could not be added.
    void disown(const NodePtr& child);
    EventDelivery::Place insertClaimed(const NodePtr& child, const TreeContext* tree);
    /// A second definition of the same setting.
    void defineAgain(const FactorySettingProperties& incoming);
    NodePtr childOrThrow(std::string_view name) const;
    NodePtr followAlias(const NodePtr& child) const;
    ShapedArray read(std::string_view name, std::string_view level) const;
    NodePtr add(NodeSpec spec, bool isGroup, const varnek::data::Array& initial, LevelIndex level);
    /// The types of one event class for this node, and those of listeners to all of its events.
    std::vector<std::u16string> publishedTypes(std::string_view eventClass) const;
    /// What the values are stored in: the setting behind a proxy or an alias; null for a node of another
    /// process.
    static std::vector<boost::shared_ptr<SettingsImpl>> storeTargets(std::span<const NodeValue> values);
    /// `accepted`, when given, takes the values as they are to be stored.
    static std::vector<Failure> checkValues(std::span<const NodeValue> values,
                                            const std::vector<boost::shared_ptr<SettingsImpl>>& targets,
                                            bool collect, std::vector<ShapedArray>* accepted);
    /// False when it is not there any more.
    bool detach(const NodePtr& child, const TreeContext* tree, EventDelivery::Place& place,
                Origin origin = Origin::caller);
    void updateDefinition(const std::function<void(NodeDefinition&)>& change);

    const std::string name_;  // these three are all that a read touches: one cache line
    LevelValues values_;      // of a setting
    GroupState* const group_; // of a group, owned; handed to the reclamation at the end
    const std::uint64_t serial_;
    const LevelIndex origin_;
    std::atomic<ReadOnlyState> readOnly_;
    std::atomic<bool> visible_;
    std::atomic<bool> needsSync_{false};
    std::atomic<std::uint8_t> indirectReads_{0}; // bits of IndirectRead
    std::atomic<std::uint8_t> dataTypeIndex_{0}; // 0: none recorded
    std::atomic<const GroupState*> parent_{nullptr};
    varnek::concurrency::Snapshot<DefinitionHandle> definition_;
};

} // namespace settings::core::detail
