/// The handle through which every caller works: one group or one setting of a settings tree.
///
/// A handle shares its node; copying or dropping handles changes nothing in the tree. A node that was removed
/// from its tree lives on while a handle refers to it.
///
/// Levels are named "session", "user", "installation" and "factory". A read without a level, or with an empty
/// one, yields the effective value: the first in that order that is set. Names are compared exactly.
///
/// Threads: all operations may be called from any thread. Reading takes no lock. No lock is held while
/// validators or listeners run. One Settings object that is assigned to needs a lock of the caller.
///
/// Errors: all failures are exceptions of settingscore/exception/, raised before anything has changed.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/level/RootIndex.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "varnek/data/Array.hpp"

#include <boost/any.hpp>
#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace settings::core {

namespace detail {
class FactorySettingProperties;
class SettingsNodeImpl;
struct SettingsAccess;

template <class T, class... List>
inline constexpr bool isOneOf = (std::is_same_v<T, List> || ...);
} // namespace detail

/// The types of the typed front: exactly these.
template <class T>
concept SettingValueType =
    detail::isOneOf<T, signed char, unsigned char, short, unsigned short, int, unsigned int, std::int64_t,
                    std::uint64_t, float, double, bool, char16_t, std::u16string, std::vector<signed char>,
                    std::vector<unsigned char>, std::vector<short>, std::vector<unsigned short>,
                    std::vector<int>, std::vector<unsigned int>, std::vector<std::int64_t>,
                    std::vector<std::uint64_t>, std::vector<float>, std::vector<double>, std::vector<bool>,
                    std::vector<std::u16string>>;

class SETTINGSCORE_EXPORT Settings {
  public:
    /// Extension of settings files, with its dot: ".vksettings".
    static const std::string& settingsExtension; // never destroyed

    using Failures = std::vector<std::pair<std::string, std::string>>; ///< (setting, message)

    Settings& operator=(const Settings& other);
    virtual ~Settings();
    void assign(const Settings& other);

    // ---- values of the settings directly below this group ----

    /// The value converted to T. T is one of: signed char, unsigned char, short, unsigned short, int,
    /// unsigned int, std::int64_t, std::uint64_t, float, double, bool, char16_t, std::u16string, or a
    /// std::vector of one of these except char16_t. An n-dimensional array gives its elements column by
    /// column.
    ///
    /// Reading a stored T allocates nothing but the result.
    /// Errors: NoSuchKey, NotAKeyName, UnSupportedLevel; AttemptToGetValueFromVoid when no value is there;
    /// VARNEK::settings::core::DataTypeNotMatch for text against number; the conversion's own errors
    /// (overflow, several elements for a scalar).
    template <SettingValueType T>
    T get(std::string_view name, std::string_view level = {}) const;

    /// The same for a setting further down: names joined by "." from this node. InvalidNodePath when the
    /// names before the last lead nowhere, NotANodeName when they lead to a setting.
    template <SettingValueType T>
    T getByFullName(std::string_view fullName, std::string_view level = {}) const;

    /// The value as it is stored; the void array when the level, or every level, holds none.
    varnek::data::Array get(std::string_view name, std::string_view level = {}) const;
    boost::any getAny(std::string_view name, std::string_view level = {}) const;

    /// Stores a value on a level. T as for get.
    /// Errors: NoSuchKey, UnSupportedLevel, CantModifyValuesOnReadOnlyLevel, NotAKeyName,
    /// CannotChangeValueForReadOnlySetting, DefaultValidationFailedOnVoidType, UnsupportedType,
    /// ValidationException.
    template <SettingValueType T>
    void set(std::string_view name, const T& value, std::string_view level);
    void set(std::string_view name, const varnek::data::Array& value, std::string_view level);
    /// UnsupportedAnyType for a value outside the supported types.
    void setAny(std::string_view name, const boost::any& value, std::string_view level);

    /// Drops the value of one level. ValueNotDefinedForGivenLevel when it holds none.
    void unset(std::string_view name, std::string_view level);
    bool isSet(std::string_view name, std::string_view level) const;
    boost::optional<std::uint64_t> getDataTypeIndex(std::string_view name) const;

    /// Checks all values, then stores all of them or, when one is refused, none. With `collect` every refusal
    /// is returned as (full name of the setting, message); otherwise the first is raised. A level that cannot
    /// be modified is refused for no values, too; std::invalid_argument for an empty handle.
    static Failures
    setTogether(const std::vector<std::pair<boost::shared_ptr<Settings>, varnek::data::Array>>& values,
                std::string_view level, bool collect = false);

    // ---- the tree ----

    /// The direct child, or an empty handle.
    boost::shared_ptr<Settings> getChild(std::string_view name) const;
    /// In ascending byte order of their names, hidden ones included.
    std::vector<boost::shared_ptr<Settings>> getChildren() const;
    boost::shared_ptr<Settings> getParent() const;
    /// Names joined by ".", from this node down. InvalidNodePath.
    boost::shared_ptr<Settings> getSettingsByFullName(std::string_view fullName) const;

    /// Adds a group or a setting below this group, for as long as `level` keeps it ("session": until the
    /// process ends). `readOnly` false: as the parents say. An array without type stores no value. Errors:
    /// UnSupportedLevel, CantModifyValuesOnReadOnlyLevel, CanNotAddKeyToRootException, NotANodeName,
    /// ErrorAddingTopLevelNode, InvalidSettingOrGroupName, CannotAddRemoveNodeUnderReadOnlyParent,
    /// SameNameChildAlreadyExisted, ErrorAddingChildNodeOrKey, InvalidValidator, and those of set.
    boost::shared_ptr<Settings> addGroup(std::string_view name, bool visible, bool readOnly,
                                         std::string_view level, const ValidatorVariant& validator = {});
    boost::shared_ptr<Settings> addSetting(std::string_view name, const varnek::data::Array& value,
                                           bool visible, bool readOnly, std::string_view level,
                                           const ValidatorVariant& validator = {});
    /// Only nodes that were added at run time, and that no read-only level keeps; otherwise
    /// AttemptedRemovalOfFactoryGroupOrSetting. NoSuchNode, CannotAddRemoveNodeUnderReadOnlyParent.
    void removeNode(std::string_view name);

    /// Stores every value that the standalone tree `other` holds on `level` in the setting of the same name
    /// here, as one batch. CannotMergeWithSettingsRoot, ErrorMergingWithCircularReference,
    /// CanOnlyMergeTreeNodeWithStandaloneNode, ErrorMergingNodesWithDiffAttr.
    void mergeDescendants(const boost::shared_ptr<const Settings>& other, std::string_view level);

    std::string getName() const;
    std::string getFullName() const;
    bool isRoot() const;
    bool isLeafNode() const;
    bool isReadOnly() const;
    bool isVisible() const;
    bool isConnectedToTheSettingsTree() const;
    RootIndex getRootIndex() const;
    boost::optional<std::uint32_t> getVersionNumber() const;
    /// CantReloadFactoryFile when nothing is known about a toolbox of that name.
    void reloadFactoryFile(std::string_view name);

    // ---- events: the names a listener registers for ----

    std::vector<std::u16string> getListenerValueChangeEventType() const;
    std::vector<std::u16string> getListenerAddNodeEventType() const;
    std::vector<std::u16string> getListenerRemoveNodeEventType() const;
    std::vector<std::u16string> getGlobalListenerEventTypes() const;

    // ---- definition, read only ----

    /// The level the node was defined or added on.
    std::string getOriginLevel() const;
    /// The full name that this setting is an alias of; empty for an ordinary one.
    std::string getAliasName() const;

    // ---- static operations ----

    /// Both wrap the same node, or both are empty.
    static bool equal(const boost::shared_ptr<Settings>& a, const boost::shared_ptr<Settings>& b);
    static bool equal(const boost::shared_ptr<const Settings>& a, const boost::shared_ptr<const Settings>& b);
    static bool equal(const Settings& a, const Settings& b);

    /// Whether a setting may hold an array of this type: character, string, logical, double, single and the
    /// eight integer types with any dimensions, and a cell of character arrays.
    static bool isValidSettingValueType(const varnek::data::Array& value);

    /// Defines a setting and sets its value in one step; returns it. Groups on its way that are not there are
    /// added as `group` says, the setting as `setting` says, whose value is stored on `level`; a setting that
    /// is there already only gets the value. `fullName`: from the root of the tree that `setting` belongs to,
    /// else that of DefaultRootIndex. The value is checked on every level, by the definition that counts:
    /// `setting` for a new setting, its own for one that is there, also when another thread adds it
    /// meanwhile. Without a value nothing is stored. Listeners hear of one addition, that of the topmost new
    /// node. Errors: UnSupportedLevel, CantModifyValuesOnReadOnlyLevel, InvalidNodePath for an empty name or
    /// part of it, CanNotAddKeyToRootException for a name without group, NotANodeName, NotAKeyName, those of
    /// addGroup, addSetting and set, and of detail::getSettingsRoot.
    static boost::shared_ptr<Settings> createAndSetValue(std::string_view fullName,
                                                         const detail::FactorySettingProperties& group,
                                                         const detail::FactorySettingProperties& setting,
                                                         std::string_view level);

    /// Writes nodes of one product with the values of `level` ("factory": a factory file) to the file `path`.
    /// Errors: ErrorExportOrImportSettingsUsingRelativePath, CannotExportSettingsRoot,
    /// CannotExportStandaloneSettings, ErrorExportMultipleNodesBelongsToDiffProducts, UnSupportedLevel,
    /// SettingsFileNotWritten (also for a file that is there and is no settings file, that of another
    /// group, or an encrypted one, and in the place of the tree's own files of the product);
    /// std::invalid_argument for no nodes at all and for an empty handle.
    static void exportSettings(const std::vector<boost::shared_ptr<const Settings>>& nodes,
                               const std::u16string& path, std::string_view level);
    /// Reads a settings file into a tree of its own, with its values on `level`. Errors:
    /// ErrorExportOrImportSettingsUsingRelativePath, FileDoesNotExist, UnSupportedLevel,
    /// PackageCannotBeOpened, ErrorReadingSettingsData.
    static boost::shared_ptr<Settings> importAsStandaloneObject(const std::u16string& path,
                                                                std::string_view level);

    /// Writes the definitions of a group that stands in no settings tree, and the values it has on "factory",
    /// as a factory file without upgraders: a new one, or in place of one of that group. What was added on
    /// "user" or "installation" is defined with its value there. `version`: what getVersionNumber() of the
    /// group is to tell once the file is loaded. Nothing while saving is switched off. Blocks on the disk.
    /// Errors, with the file as it was: ErrorCreateFactoryFileFromATreeNode for a node of a settings tree;
    /// NotANodeName for a setting; ErrorSaveSettingsDueToFileIOError for a file without write permission;
    /// SettingsFileNotWritten, also for a relative path; std::invalid_argument for an empty handle.
    static void createFactorySettingsFile(const boost::shared_ptr<const Settings>& group,
                                          const std::u16string& path, std::uint32_t version);

    /// One value of a settings file, without building a tree; void when the file holds none. `group` is the
    /// group's full name. FileDoesNotExist, PackageCannotBeOpened, ErrorReadingSettingsData.
    static varnek::data::Array getStartupSetting(const std::u16string& path, std::string_view group,
                                                 std::string_view setting, std::string_view level);
    /// Deletes a file of start-up settings; does nothing when there is none. SettingsFileNotWritten.
    static void removeStartupSettings(const std::u16string& path);

  protected:
    Settings(const Settings& other);
    explicit Settings(boost::shared_ptr<detail::SettingsNodeImpl> node);
    /// Lets a derived handle wrap a node.
    void constructor(const boost::shared_ptr<detail::SettingsNodeImpl>& node);
    boost::shared_ptr<const detail::SettingsNodeImpl> getImpl() const;
    boost::shared_ptr<detail::SettingsNodeImpl> getImpl();

  private:
    friend struct detail::SettingsAccess;

    using Value = std::pair<varnek::data::Array, bool>;
    using Pairs = std::vector<std::pair<boost::shared_ptr<Settings>, Value>>;

    /// An empty handle for an empty node.
    static boost::shared_ptr<Settings> wrapImpl(const boost::shared_ptr<detail::SettingsNodeImpl>& node);
    /// NoSuchKey, naming this node.
    void requireChild(std::string_view name) const;
    void setValue(std::string_view name, const varnek::data::Array& value, bool isVector,
                  std::string_view level);
    static std::vector<std::pair<boost::shared_ptr<detail::SettingsNodeImpl>, Value>>
    nodesOf(const Pairs& values);
    static Failures multipleSetImpl(const Pairs& values, std::string_view level, bool collect);
    static Failures multipleValidateImpl(const Pairs& values, bool collect);
    boost::shared_ptr<const Settings> getThisObjectImpl() const;
    boost::shared_ptr<Settings> getParentImpl() const;
    void loadUserSettingsOncePerPrefdir();
    bool needsSyncWithVCOSTree() const;
    void setSyncWithVCOSTree(bool sync);

    boost::shared_ptr<detail::SettingsNodeImpl> impl_;
};

} // namespace settings::core
