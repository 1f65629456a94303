/// Failures of the tree and its nodes.
#pragma once

#include "settingscore/exception/FailureShapes.hpp"

#include <string>
#include <vector>

namespace settings::core::exception {

/// A value was asked for where none is.
class SETTINGSCORE_EXPORT AttemptToGetValueFromVoid
    : public Cloneable<AttemptToGetValueFromVoid, SettingsException> {
  public:
    const char* what() const noexcept override;
};

/// Removal of a node that a factory definition made.
class SETTINGSCORE_EXPORT AttemptedRemovalOfFactoryGroupOrSetting
    : public Cloneable<AttemptedRemovalOfFactoryGroupOrSetting, detail::ObjectFailure> {
  public:
    AttemptedRemovalOfFactoryGroupOrSetting(ObjectHandle object, std::string levelNeedToBeUpdated,
                                            std::vector<std::string> levelsHasWritenPermissionOn);
    const char* what() const noexcept override;
    std::string getLevelNeedToBeUpdated() const { return *levelNeedToBeUpdated_; }
    std::vector<std::string> getLevelsHasWritenPermissionOn() const { return *levelsHasWritenPermissionOn_; }

  private:
    SharedField<std::string> levelNeedToBeUpdated_;
    SharedField<std::vector<std::string>> levelsHasWritenPermissionOn_;
};

/// A setting was to be added directly below the root. CannotAddKeyToRoot is the same on another path.
class SETTINGSCORE_EXPORT CanNotAddKeyToRootException
    : public Cloneable<CanNotAddKeyToRootException, SettingsException> {
  public:
    explicit CanNotAddKeyToRootException(boost::shared_ptr<Settings> causingObject);
    const char* what() const noexcept override;
    boost::shared_ptr<Settings> getCausingObject() const { return causingObject_; }

  private:
    boost::shared_ptr<Settings> causingObject_;
};

/// A setting was to be added directly below the root, through the language front end.
class SETTINGSCORE_EXPORT CannotAddKeyToRoot : public Cloneable<CannotAddKeyToRoot, SettingsException> {
  public:
    explicit CannotAddKeyToRoot(std::string inputName);
    const char* what() const noexcept override;
    std::string getInputName() const { return *inputName_; }

  private:
    SharedField<std::string> inputName_;
};

/// (object, other): the source of a merge into `object` is not a standalone node.
class SETTINGSCORE_EXPORT CanOnlyMergeTreeNodeWithStandaloneNode
    : public Cloneable<CanOnlyMergeTreeNodeWithStandaloneNode, detail::ObjectFailure> {
  public:
    CanOnlyMergeTreeNodeWithStandaloneNode(ObjectHandle object, ObjectHandle other);
    const char* what() const noexcept override;
    ObjectHandle getOtherObject() const { return other_; }

  private:
    ObjectHandle other_;
};

/// A node was to be added below, or removed from, a read-only group.
class SETTINGSCORE_EXPORT CannotAddRemoveNodeUnderReadOnlyParent
    : public Cloneable<CannotAddRemoveNodeUnderReadOnlyParent, SettingsException> {
  public:
    CannotAddRemoveNodeUnderReadOnlyParent(ObjectHandle parent, ObjectHandle child);
    const char* what() const noexcept override;
    ObjectHandle getParentObject() const { return parent_; }
    ObjectHandle getChildObject() const { return child_; }

  private:
    ObjectHandle parent_;
    ObjectHandle child_;
};

/// (causing object): a value was to be stored in a read-only setting.
class SETTINGSCORE_EXPORT CannotChangeValueForReadOnlySetting
    : public Cloneable<CannotChangeValueForReadOnlySetting, detail::CausingObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// (object): the root itself was to be exported.
class SETTINGSCORE_EXPORT CannotExportSettingsRoot
    : public Cloneable<CannotExportSettingsRoot, detail::ObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// (object): a node outside the settings tree was to be exported.
class SETTINGSCORE_EXPORT CannotExportStandaloneSettings
    : public Cloneable<CannotExportStandaloneSettings, detail::ObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// (object): settings were to be merged directly into the root.
class SETTINGSCORE_EXPORT CannotMergeWithSettingsRoot
    : public Cloneable<CannotMergeWithSettingsRoot, detail::ObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// The level cannot be modified, by definition or because its file cannot be written.
class SETTINGSCORE_EXPORT CantModifyValuesOnReadOnlyLevel
    : public Cloneable<CantModifyValuesOnReadOnlyLevel, detail::ObjectFailure> {
  public:
    CantModifyValuesOnReadOnlyLevel(ObjectHandle object, std::string levelToModify);
    const char* what() const noexcept override;
    std::string getLevelToModify() const { return *levelToModify_; }

  private:
    SharedField<std::string> levelToModify_;
};

/// The root knows no factory file and no service of that toolbox.
class SETTINGSCORE_EXPORT CantReloadFactoryFile : public Cloneable<CantReloadFactoryFile, SettingsException> {
  public:
    explicit CantReloadFactoryFile(std::u16string toolboxName);
    explicit CantReloadFactoryFile(const std::string& toolboxName);
    const char* what() const noexcept override;
    std::u16string getToolboxName() const { return *toolboxName_; }

  private:
    SharedField<std::u16string> toolboxName_;
};

/// The insertion of a child failed after its name had been found free.
class SETTINGSCORE_EXPORT ErrorAddingChildNodeOrKey
    : public Cloneable<ErrorAddingChildNodeOrKey, detail::ObjectFailure> {
  public:
    ErrorAddingChildNodeOrKey(ObjectHandle object, std::string existingNodeKeyName);
    const char* what() const noexcept override;
    std::string getExistingNodeKeyName() const { return *existingNodeKeyName_; }

  private:
    SharedField<std::string> existingNodeKeyName_;
};

/// A top-level group of that name, compared without case, is there already. ProductNodeAlreadyExisted is the
/// same for groups that come from files and services.
class SETTINGSCORE_EXPORT ErrorAddingTopLevelNode
    : public Cloneable<ErrorAddingTopLevelNode, SettingsException> {
  public:
    explicit ErrorAddingTopLevelNode(std::u16string existingProductName);
    explicit ErrorAddingTopLevelNode(const std::string& existingProductName);
    const char* what() const noexcept override;
    std::u16string getExistingProductName() const { return *existingProductName_; }

  private:
    SharedField<std::u16string> existingProductName_;
};

/// (object): a factory file can be made of a standalone node only.
class SETTINGSCORE_EXPORT ErrorCreateFactoryFileFromATreeNode
    : public Cloneable<ErrorCreateFactoryFileFromATreeNode, detail::ObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// The nodes of one export lie below different top-level groups.
class SETTINGSCORE_EXPORT ErrorExportMultipleNodesBelongsToDiffProducts
    : public Cloneable<ErrorExportMultipleNodesBelongsToDiffProducts, SettingsException> {
  public:
    ErrorExportMultipleNodesBelongsToDiffProducts(std::u16string product1Name, std::u16string product2Name);
    ErrorExportMultipleNodesBelongsToDiffProducts(const std::string& product1Name,
                                                  const std::string& product2Name);
    const char* what() const noexcept override;
    std::u16string getProduct1Name() const { return *product1Name_; }
    std::u16string getProduct2Name() const { return *product2Name_; }

  private:
    SharedField<std::u16string> product1Name_;
    SharedField<std::u16string> product2Name_;
};

/// An export or import was given a relative path. An import knows no object.
class SETTINGSCORE_EXPORT ErrorExportOrImportSettingsUsingRelativePath
    : public Cloneable<ErrorExportOrImportSettingsUsingRelativePath, detail::ObjectFailure> {
  public:
    ErrorExportOrImportSettingsUsingRelativePath(ObjectHandle object, std::u16string path);
    explicit ErrorExportOrImportSettingsUsingRelativePath(std::u16string path);
    const char* what() const noexcept override;
    std::u16string getPath() const { return *path_; }

  private:
    SharedField<std::u16string> path_;
};

/// The same node carries another value of that attribute on the two sides of a merge.
class SETTINGSCORE_EXPORT ErrorMergingNodesWithDiffAttr
    : public Cloneable<ErrorMergingNodesWithDiffAttr, SettingsException> {
  public:
    ErrorMergingNodesWithDiffAttr(ObjectHandle source, ObjectHandle destination,
                                  std::u16string attributeName);
    const char* what() const noexcept override;
    ObjectHandle getSrcObject() const { return source_; }
    ObjectHandle getDesObject() const { return destination_; }
    std::u16string getAttributeName() const { return *attributeName_; }

  private:
    ObjectHandle source_;
    ObjectHandle destination_;
    SharedField<std::u16string> attributeName_;
};

/// (object, causing object): both sides of a merge share an ancestor.
class SETTINGSCORE_EXPORT ErrorMergingWithCircularReference
    : public Cloneable<ErrorMergingWithCircularReference, detail::ObjectFailure> {
  public:
    ErrorMergingWithCircularReference(ObjectHandle object, ObjectHandle causingObject);
    const char* what() const noexcept override;
    ObjectHandle getCausingObject() const { return causingObject_; }

  private:
    ObjectHandle causingObject_;
};

/// A dotted name leads nowhere from `object`.
class SETTINGSCORE_EXPORT InvalidNodePath : public Cloneable<InvalidNodePath, detail::ObjectFailure> {
  public:
    InvalidNodePath(ObjectHandle object, std::string invalidName);
    const char* what() const noexcept override;
    std::string getInvalidName() const { return *invalidName_; }

  private:
    SharedField<std::string> invalidName_;
};

/// The name breaks the rules for names.
class SETTINGSCORE_EXPORT InvalidSettingOrGroupName
    : public Cloneable<InvalidSettingOrGroupName, SettingsException> {
  public:
    explicit InvalidSettingOrGroupName(std::string inputNodeName);
    const char* what() const noexcept override;
    std::string getInputNodeName() const { return *inputNodeName_; }

  private:
    SharedField<std::string> inputNodeName_;
};

/// The group has no setting of that name. The only failure of the tree whose text shows the name.
class SETTINGSCORE_EXPORT NoSuchKey : public Cloneable<NoSuchKey, detail::NamedObjectFailure> {
  public:
    NoSuchKey(ObjectHandle object, std::string inputName);
    const char* what() const noexcept override;

  private:
    SharedField<std::string> text_;
};

/// (object, input name): the group has no child of that name.
class SETTINGSCORE_EXPORT NoSuchNode : public Cloneable<NoSuchNode, detail::NamedObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// (object, input name): a setting was asked for, the name is a group's.
class SETTINGSCORE_EXPORT NotAKeyName : public Cloneable<NotAKeyName, detail::NamedObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// (object, input name): a group was asked for, the name is a setting's.
class SETTINGSCORE_EXPORT NotANodeName : public Cloneable<NotANodeName, detail::NamedObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// A top-level group of that name, compared without case, is there already.
class SETTINGSCORE_EXPORT ProductNodeAlreadyExisted
    : public Cloneable<ProductNodeAlreadyExisted, SettingsException> {
  public:
    ProductNodeAlreadyExisted(std::u16string inputName, std::u16string existingName);
    ProductNodeAlreadyExisted(const std::string& inputName, const std::string& existingName);
    const char* what() const noexcept override;
    std::u16string getInputName() const { return *inputName_; }
    std::u16string getExistingName() const { return *existingName_; }

  private:
    SharedField<std::u16string> inputName_;
    SharedField<std::u16string> existingName_;
};

/// (object, input name): the group has a child of that name already.
class SETTINGSCORE_EXPORT SameNameChildAlreadyExisted
    : public Cloneable<SameNameChildAlreadyExisted, detail::NamedObjectFailure> {
  public:
    using Cloneable::Cloneable;
    const char* what() const noexcept override;
};

/// No level has that name.
class SETTINGSCORE_EXPORT UnSupportedLevel : public Cloneable<UnSupportedLevel, detail::ObjectFailure> {
  public:
    UnSupportedLevel(ObjectHandle object, std::string inputLevel,
                     std::vector<std::string> supportedLevelList);
    const char* what() const noexcept override;
    std::string getInputLevel() const { return *inputLevel_; }
    std::vector<std::string> getSupportedLevelList() const { return *supportedLevelList_; }

  private:
    SharedField<std::string> inputLevel_;
    SharedField<std::vector<std::string>> supportedLevelList_;
};

/// The setting holds no value on that level.
class SETTINGSCORE_EXPORT ValueNotDefinedForGivenLevel
    : public Cloneable<ValueNotDefinedForGivenLevel, detail::ObjectFailure> {
  public:
    ValueNotDefinedForGivenLevel(ObjectHandle object, std::string level);
    const char* what() const noexcept override;
    std::string getLevel() const { return *level_; }

  private:
    SharedField<std::string> level_;
};

} // namespace settings::core::exception
