#include "settingscore/exception/TreeFailures.hpp"

#include "settingscore/exception/MessageText.hpp"

#include <utility>

namespace settings::core::exception {

// What the failures store.

AttemptedRemovalOfFactoryGroupOrSetting::AttemptedRemovalOfFactoryGroupOrSetting(
    ObjectHandle object, std::string levelNeedToBeUpdated,
    std::vector<std::string> levelsHasWritenPermissionOn)
    : Cloneable(std::move(object)), levelNeedToBeUpdated_(std::move(levelNeedToBeUpdated)),
      levelsHasWritenPermissionOn_(std::move(levelsHasWritenPermissionOn)) {}

CanNotAddKeyToRootException::CanNotAddKeyToRootException(boost::shared_ptr<Settings> causingObject)
    : causingObject_(std::move(causingObject)) {}

CannotAddKeyToRoot::CannotAddKeyToRoot(std::string inputName) : inputName_(std::move(inputName)) {}

CanOnlyMergeTreeNodeWithStandaloneNode::CanOnlyMergeTreeNodeWithStandaloneNode(ObjectHandle object,
                                                                               ObjectHandle other)
    : Cloneable(std::move(object)), other_(std::move(other)) {}

CannotAddRemoveNodeUnderReadOnlyParent::CannotAddRemoveNodeUnderReadOnlyParent(ObjectHandle parent,
                                                                               ObjectHandle child)
    : parent_(std::move(parent)), child_(std::move(child)) {}

CantModifyValuesOnReadOnlyLevel::CantModifyValuesOnReadOnlyLevel(ObjectHandle object,
                                                                 std::string levelToModify)
    : Cloneable(std::move(object)), levelToModify_(std::move(levelToModify)) {}

CantReloadFactoryFile::CantReloadFactoryFile(std::u16string toolboxName)
    : toolboxName_(std::move(toolboxName)) {}

CantReloadFactoryFile::CantReloadFactoryFile(const std::string& toolboxName)
    : CantReloadFactoryFile(detail::utf16(toolboxName)) {}

ErrorAddingChildNodeOrKey::ErrorAddingChildNodeOrKey(ObjectHandle object, std::string existingNodeKeyName)
    : Cloneable(std::move(object)), existingNodeKeyName_(std::move(existingNodeKeyName)) {}

ErrorAddingTopLevelNode::ErrorAddingTopLevelNode(std::u16string existingProductName)
    : existingProductName_(std::move(existingProductName)) {}

ErrorAddingTopLevelNode::ErrorAddingTopLevelNode(const std::string& existingProductName)
    : ErrorAddingTopLevelNode(detail::utf16(existingProductName)) {}

ErrorExportMultipleNodesBelongsToDiffProducts::ErrorExportMultipleNodesBelongsToDiffProducts(
    std::u16string product1Name, std::u16string product2Name)
    : product1Name_(std::move(product1Name)), product2Name_(std::move(product2Name)) {}

ErrorExportMultipleNodesBelongsToDiffProducts::ErrorExportMultipleNodesBelongsToDiffProducts(
    const std::string& product1Name, const std::string& product2Name)
    : ErrorExportMultipleNodesBelongsToDiffProducts(detail::utf16(product1Name),
                                                    detail::utf16(product2Name)) {}

ErrorExportOrImportSettingsUsingRelativePath::ErrorExportOrImportSettingsUsingRelativePath(
    ObjectHandle object, std::u16string path)
    : Cloneable(std::move(object)), path_(std::move(path)) {}

ErrorExportOrImportSettingsUsingRelativePath::ErrorExportOrImportSettingsUsingRelativePath(
    std::u16string path)
    : ErrorExportOrImportSettingsUsingRelativePath(ObjectHandle(), std::move(path)) {}

ErrorMergingNodesWithDiffAttr::ErrorMergingNodesWithDiffAttr(ObjectHandle source, ObjectHandle destination,
                                                             std::u16string attributeName)
    : source_(std::move(source)), destination_(std::move(destination)),
      attributeName_(std::move(attributeName)) {}

ErrorMergingWithCircularReference::ErrorMergingWithCircularReference(ObjectHandle object,
                                                                     ObjectHandle causingObject)
    : Cloneable(std::move(object)), causingObject_(std::move(causingObject)) {}

InvalidNodePath::InvalidNodePath(ObjectHandle object, std::string invalidName)
    : Cloneable(std::move(object)), invalidName_(std::move(invalidName)) {}

InvalidSettingOrGroupName::InvalidSettingOrGroupName(std::string inputNodeName)
    : inputNodeName_(std::move(inputNodeName)) {}

NoSuchKey::NoSuchKey(ObjectHandle object, std::string inputName)
    : Cloneable(std::move(object), std::move(inputName)),
      text_("The requested settings " + getInputName() + " does not exist.") {}

ProductNodeAlreadyExisted::ProductNodeAlreadyExisted(std::u16string inputName, std::u16string existingName)
    : inputName_(std::move(inputName)), existingName_(std::move(existingName)) {}

ProductNodeAlreadyExisted::ProductNodeAlreadyExisted(const std::string& inputName,
                                                     const std::string& existingName)
    : ProductNodeAlreadyExisted(detail::utf16(inputName), detail::utf16(existingName)) {}

UnSupportedLevel::UnSupportedLevel(ObjectHandle object, std::string inputLevel,
                                   std::vector<std::string> supportedLevelList)
    : Cloneable(std::move(object)), inputLevel_(std::move(inputLevel)),
      supportedLevelList_(std::move(supportedLevelList)) {}

ValueNotDefinedForGivenLevel::ValueNotDefinedForGivenLevel(ObjectHandle object, std::string level)
    : Cloneable(std::move(object)), level_(std::move(level)) {}

// What they say. Callers and their users know these texts: they stay as they are, slips included.

const char* AttemptToGetValueFromVoid::what() const noexcept {
    return "Attempt to retrieve value from a void boost::any variable.";
}
const char* AttemptedRemovalOfFactoryGroupOrSetting::what() const noexcept {
    return "Failed to update settings. This update requires full write permissions.";
}
const char* CanNotAddKeyToRootException::what() const noexcept {
    return "Can't add key to the Settings root";
}
const char* CannotAddKeyToRoot::what() const noexcept {
    return "Settings root cannot contain any setting";
}
const char* CanOnlyMergeTreeNodeWithStandaloneNode::what() const noexcept {
    return "Cannot only merge a node on the tree with a standalone node.";
}
const char* CannotAddRemoveNodeUnderReadOnlyParent::what() const noexcept {
    return "The parent group object is read-only. Cannot add/remove node to/from it.";
}
const char* CannotChangeValueForReadOnlySetting::what() const noexcept {
    return "The setting is read-only, cannot change its value.";
}
const char* CannotExportSettingsRoot::what() const noexcept {
    return "Users can only export product node or sub product node.";
}
const char* CannotExportStandaloneSettings::what() const noexcept {
    return "Users can only export settings node on the settings tree.";
}
const char* CannotMergeWithSettingsRoot::what() const noexcept {
    return "Users can only  merge settings with product node or sub-product node. "
           "Users cannot merge settings directly with Settings root.";
}
const char* CantModifyValuesOnReadOnlyLevel::what() const noexcept {
    return "The Settings file on the given level is read-only";
}
const char* CantReloadFactoryFile::what() const noexcept {
    return "Can't reload factory file. No info about this toolbox";
}
const char* ErrorAddingChildNodeOrKey::what() const noexcept {
    return "The parent object contains a child with the same name already.";
}
const char* ErrorAddingTopLevelNode::what() const noexcept {
    return "The product name has already existed. Product name cannot only vary by case.";
}
const char* ErrorCreateFactoryFileFromATreeNode::what() const noexcept {
    return "Cannot create a factory file from a settings node on the Settings tree. "
           "Please create/edit factory file with a standalone node.";
}
const char* ErrorExportMultipleNodesBelongsToDiffProducts::what() const noexcept {
    return "The exported node belongs to the different product.";
}
const char* ErrorExportOrImportSettingsUsingRelativePath::what() const noexcept {
    return "The Settings import or export function can only take full path";
}
const char* ErrorMergingNodesWithDiffAttr::what() const noexcept {
    return "The nodes should be the same, but they have different attributes' value. Cannot merge them.";
}
const char* ErrorMergingWithCircularReference::what() const noexcept {
    return "Cannot merge two settings who has same ancestor.";
}
const char* InvalidNodePath::what() const noexcept {
    return "The setting name (could be dot separated path) does not represent a valid setting";
}
const char* InvalidSettingOrGroupName::what() const noexcept {
    return "Setting or group name should be a valid VARNEK variable name";
}
const char* NoSuchKey::what() const noexcept {
    return text_->c_str();
}
const char* NoSuchNode::what() const noexcept {
    return "The sub Settings node does not exist.";
}
const char* NotAKeyName::what() const noexcept {
    return "The input name is a sub node name under the parent node. It is not a settings name.";
}
const char* NotANodeName::what() const noexcept {
    return "The input name is a settings name under the parent node. It is not a sub node name.";
}
const char* ProductNodeAlreadyExisted::what() const noexcept {
    return "Product node already existed. The product node name cannot only be different by case.";
}
const char* SameNameChildAlreadyExisted::what() const noexcept {
    return "Error add node, same name child has already existed.";
}
const char* UnSupportedLevel::what() const noexcept {
    return "The level specified is not a supported level.";
}
const char* ValueNotDefinedForGivenLevel::what() const noexcept {
    return "No value is not defined for this setting on the given level";
}

} // namespace settings::core::exception
