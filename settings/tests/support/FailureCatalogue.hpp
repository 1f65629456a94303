/// Every failure class of the catalogue with what it is made of, its text and what its accessors give.
#pragma once

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/exception/PublicationFailures.hpp"
#include "settingscore/level/SettingsLevel.hpp"

#include <boost/core/demangle.hpp>
#include <boost/locale/encoding_utf.hpp>

#include <concepts>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

namespace settings::test {

using namespace core::exception;
using core::Settings;
using varnek::data::Array;

// The objects that failures are about: set by the test.
inline ObjectHandle A, B;
inline boost::shared_ptr<Settings> C; // the same object as A
inline bool (*isSameObject)(const ObjectHandle&, const ObjectHandle&) =
    [](const ObjectHandle& a, const ObjectHandle& b) { return a == b; };

inline std::string show(const ObjectHandle& object) {
    return isSameObject(object, A) ? "A" : isSameObject(object, B) ? "B" : object ? "?" : "none";
}
inline std::string show(const std::string& text) {
    return text;
}
inline std::string show(const std::u16string& text) {
    return "u:" + boost::locale::conv::utf_to_utf<char>(text);
}
template <std::integral T>
std::string show(T number) {
    return std::to_string(number);
}
template <class T>
requires std::is_enum_v<T> std::string show(T value) {
    return std::to_string(static_cast<int>(value));
}
template <class T>
std::string show(const std::vector<T>& list) {
    std::string result;
    for (const T& item : list)
        result += (result.empty() ? "" : ",") + show(item);
    return "[" + result + "]";
}
inline std::string show(const Array& value) {
    return value.isVoid() ? "void" : show(value.text());
}

// The values of these accessors, one after the other.
template <class... T>
std::string shown(const T&... values) {
    std::string result;
    ((result += (result.empty() ? "" : " ") + show(values)), ...);
    return result;
}

/// Hands every failure to `expect`, with its text, the values of its accessors, and a function that reads
/// these.
template <class Expect>
class FailureCatalogue {
  public:
    explicit FailureCatalogue(const Expect& expect) : expect_(expect) {}

    /// The 81 classes of settings::core::exception but ValidationException, which is abstract.
    void walk() {
        treeFailures();
        validationFailures();
        fileAndFunctionFailures();
        remoteFailures();
    }
    void walkOwn() {
        failuresOfSingleFiles();
        expectFailure(ValueTooLargeForFile(A), ValueTooLargeForFile(A).what(), "A none 0", [](const auto& e) {
            return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode());
        });
        expectFailure(
            RemoteCallFailed(RemoteCallFailed::Fault::tooLarge, "a.b", "unset", "why"),
            "\"a.b\": unset failed in the process that publishes it: why", "4 a.b unset why",
            [](const auto& e) { return shown(e.getFault(), e.getNode(), e.getOperation(), e.getCause()); });
    }

  private:
    template <class E, class Fields>
    void expectFailure(const E& failure, const std::string& text, const std::string& values, Fields fields) {
        expect_(failure, text, values, fields);
    }
    template <class E>
    void expectObjectFailure(const std::string& text) {
        expectFailure(E(A), text, "A", [](const E& e) { return shown(e.getObjectInvovled()); });
    }

    template <class E>
    void expectNamedFailure(const std::string& text) {
        expectFailure(E(A, "x"), text, "A x",
                      [](const E& e) { return shown(e.getObjectInvovled(), e.getInputName()); });
    }

    template <class E, class... Names>
    void expectRemoteFailure(const std::string& text, Names... names) {
        expectFailure(E(names...), text, "", [](const E&) { return shown(); });
    }

    template <class E>
    void expectKindOfValueFailure(const std::string& code, const std::string& text) {
        expectFailure(E(A, B), text, "A B " + code, [](const E& e) {
            return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode());
        });
    }

    void treeFailures() {
        expectFailure(AttemptToGetValueFromVoid(),
                      "Attempt to retrieve value from a void boost::any variable.", "",
                      [](const auto&) { return shown(); });
        expectFailure(AttemptedRemovalOfFactoryGroupOrSetting(A, "factory", {"session", "user"}),
                      "Failed to update settings. This update requires full write permissions.",
                      "A factory [session,user]", [](const auto& e) {
                          return shown(e.getObjectInvovled(), e.getLevelNeedToBeUpdated(),
                                       e.getLevelsHasWritenPermissionOn());
                      });
        expectFailure(CanNotAddKeyToRootException(C), "Can't add key to the Settings root", "A",
                      [](const auto& e) { return shown(e.getCausingObject()); });
        expectFailure(CannotAddKeyToRoot("x"), "Settings root cannot contain any setting", "x",
                      [](const auto& e) { return shown(e.getInputName()); });
        expectFailure(CanOnlyMergeTreeNodeWithStandaloneNode(A, B),
                      "Cannot only merge a node on the tree with a standalone node.", "A B",
                      [](const auto& e) { return shown(e.getObjectInvovled(), e.getOtherObject()); });
        expectFailure(CannotAddRemoveNodeUnderReadOnlyParent(A, B),
                      "The parent group object is read-only. Cannot add/remove node to/from it.", "A B",
                      [](const auto& e) { return shown(e.getParentObject(), e.getChildObject()); });
        expectFailure(CannotChangeValueForReadOnlySetting(A),
                      "The setting is read-only, cannot change its value.", "A",
                      [](const auto& e) { return shown(e.getCausingObject()); });
        expectObjectFailure<CannotExportSettingsRoot>(
            "Users can only export product node or sub product node.");
        expectObjectFailure<CannotExportStandaloneSettings>(
            "Users can only export settings node on the settings tree.");
        expectObjectFailure<CannotMergeWithSettingsRoot>(
            "Users can only  merge settings with product node or "
            "sub-product node. Users cannot merge settings directly "
            "with Settings root.");
        expectFailure(CantModifyValuesOnReadOnlyLevel(A, "factory"),
                      "The Settings file on the given level is read-only", "A factory",
                      [](const auto& e) { return shown(e.getObjectInvovled(), e.getLevelToModify()); });
        for (const auto& failure : {CantReloadFactoryFile(u"Éditor"), CantReloadFactoryFile("Éditor")})
            expectFailure(failure, "Can't reload factory file. No info about this toolbox", "u:Éditor",
                          [](const auto& e) { return shown(e.getToolboxName()); });
        expectFailure(ErrorAddingChildNodeOrKey(A, "x"),
                      "The parent object contains a child with the same name already.", "A x",
                      [](const auto& e) { return shown(e.getObjectInvovled(), e.getExistingNodeKeyName()); });
        for (const auto& failure : {ErrorAddingTopLevelNode(u"Éditor"), ErrorAddingTopLevelNode("Éditor")})
            expectFailure(failure,
                          "The product name has already existed. Product name cannot only vary by case.",
                          "u:Éditor", [](const auto& e) { return shown(e.getExistingProductName()); });
        expectObjectFailure<ErrorCreateFactoryFileFromATreeNode>(
            "Cannot create a factory file from a settings node on the Settings tree. Please create/edit "
            "factory "
            "file with "
            "a standalone node.");
        for (const auto& failure : {ErrorExportMultipleNodesBelongsToDiffProducts(u"one", u"two"),
                                    ErrorExportMultipleNodesBelongsToDiffProducts("one", "two")})
            expectFailure(failure, "The exported node belongs to the different product.", "u:one u:two",
                          [](const auto& e) { return shown(e.getProduct1Name(), e.getProduct2Name()); });
        const auto pathFields = [](const auto& e) { return shown(e.getObjectInvovled(), e.getPath()); };
        const std::string pathText = "The Settings import or export function can only take full path";
        expectFailure(ErrorExportOrImportSettingsUsingRelativePath(A, u"a/b"), pathText, "A u:a/b",
                      pathFields);
        expectFailure(ErrorExportOrImportSettingsUsingRelativePath(u"a/b"), pathText, "none u:a/b",
                      pathFields);
        expectFailure(
            ErrorMergingNodesWithDiffAttr(A, B, u"readonly"),
            "The nodes should be the same, but they have different attributes' value. Cannot merge them.",
            "A B u:readonly",
            [](const auto& e) { return shown(e.getSrcObject(), e.getDesObject(), e.getAttributeName()); });
        expectFailure(ErrorMergingWithCircularReference(A, B),
                      "Cannot merge two settings who has same ancestor.", "A B",
                      [](const auto& e) { return shown(e.getObjectInvovled(), e.getCausingObject()); });
        expectFailure(InvalidNodePath(A, "a.b"),
                      "The setting name (could be dot separated path) does not represent a valid setting",
                      "A a.b",
                      [](const auto& e) { return shown(e.getObjectInvovled(), e.getInvalidName()); });
        expectFailure(InvalidSettingOrGroupName("1x"),
                      "Setting or group name should be a valid VARNEK variable name", "1x",
                      [](const auto& e) { return shown(e.getInputNodeName()); });
        expectNamedFailure<NoSuchKey>("The requested settings x does not exist.");
        expectNamedFailure<NoSuchNode>("The sub Settings node does not exist.");
        expectNamedFailure<NotAKeyName>(
            "The input name is a sub node name under the parent node. It is not a settings name.");
        expectNamedFailure<NotANodeName>(
            "The input name is a settings name under the parent node. It is not a sub node name.");
        for (const auto& failure :
             {ProductNodeAlreadyExisted(u"Éditor", u"éditor"), ProductNodeAlreadyExisted("Éditor", "éditor")})
            expectFailure(
                failure,
                "Product node already existed. The product node name cannot only be different by case.",
                "u:Éditor u:éditor",
                [](const auto& e) { return shown(e.getInputName(), e.getExistingName()); });
        expectNamedFailure<SameNameChildAlreadyExisted>(
            "Error add node, same name child has already existed.");
        expectFailure(UnSupportedLevel(A, "x", {"session", "user"}),
                      "The level specified is not a supported level.", "A x [session,user]",
                      [](const auto& e) {
                          return shown(e.getObjectInvovled(), e.getInputLevel(), e.getSupportedLevelList());
                      });
        expectFailure(ValueNotDefinedForGivenLevel(A, "user"),
                      "No value is not defined for this setting on the given level", "A user",
                      [](const auto& e) { return shown(e.getObjectInvovled(), e.getLevel()); });
    }

    void validationFailures() {
        expectFailure(DataArraySizeOutOfRange(A, B, 2, std::numeric_limits<std::uint64_t>::max(), 1),
                      "The array size is out of range ",
                      "A B 0 1 2 18446744073709551615 u:1 u:2 u:18446744073709551615", [](const auto& e) {
                          return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                       e.getActualArraySize(), e.getMinArraySize(), e.getMaxArraySize(),
                                       e.getActualArraySizeStr(), e.getMinArraySizeStr(),
                                       e.getMaxArraySizeStr());
                      });
        expectFailure(UnsupportedType(A, "cell"),
                      "The type of the value passed in is not on the supported list.", "A none 1 cell",
                      [](const auto& e) {
                          return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                       e.getTypeName());
                      });
        expectFailure(DefaultValidationFailedOnVoidType(A), "The value passed in is void", "A none 1",
                      [](const auto& e) {
                          return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode());
                      });
        expectFailure(ValueIsNotOneOfTheChoicesAndNotInRange(A, B, u"v", u"choices", u"lo", u"hi"),
                      "The value passed in is not one of the predefined choices and/or it is not in the "
                      "predefined range.",
                      "A B 2 u:v u:choices u:lo u:hi", [](const auto& e) {
                          return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                       e.getValueToSetStr(), e.getChoicesStr(), e.getMinValueStr(),
                                       e.getMaxValueStr());
                      });
        expectFailure(ValueIsNotInRange(A, B, u"v", u"lo", u"hi"),
                      "The value passed in is not in the predefined range", "A B 3 u:v u:lo u:hi",
                      [](const auto& e) {
                          return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                       e.getValueToSetStr(), e.getMinValueStr(), e.getMaxValueStr());
                      });
        expectFailure(DataTypeNotMatch(A, "double", "string"),
                      "The type of the value passed in does not match the type in the setting definition.",
                      "A none 5 double string", [](const auto& e) {
                          return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                       e.getExpectedTypeName(), e.getActualTypeName());
                      });
        expectFailure(ExceptionFromValidationFunction(A, B, "pkg", "fcn", "key", Array::text(u"v"), u"why"),
                      "Exception thrown by the validation function.", "A B 6 pkg fcn key u:v u:why",
                      [](const auto& e) {
                          return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                       e.getPackageName(), e.getFunctionName(), e.getKeyName(), e.getValue(),
                                       e.getCause());
                      });
        expectKindOfValueFailure<ValueMustBeScalar>("7", "The value must be scalar.");
        expectKindOfValueFailure<ValueMustBeString>("8",
                                                    "The value must be string or convertible to string.");
        expectKindOfValueFailure<ValueMustBeLogical>("9",
                                                     "The value must be logical or convertible to logical.");
        expectKindOfValueFailure<ValueMustBeNumeric>("10", "The value must be numeric.");
        expectKindOfValueFailure<ValueMustBeInteger>("11", "The value must be integer.");
    }

    void fileAndFunctionFailures() {
        expectFailure(ErrorLoadingLibrary("lib", u"gone"),
                      "Error loading the library, please refer to error message for reasons.", "lib u:gone",
                      [](const auto& e) { return shown(e.getLibName(), e.getSystemMessage()); });
        expectFailure(
            ErrorMigratePrefsBetweenReleases("R2024b", "R2025a"),
            "Error copying the files from the previous release prefdir to the current release prefdir.",
            "R2024b R2025a",
            [](const auto& e) { return shown(e.getPrevFullRelTag(), e.getCurrFullRelTag()); });
        expectFailure(ErrorMigrateSettingsBetweenReleases(u"editor", u"why"),
                      "Error migrating settings from previous release to the current release.",
                      "u:editor u:why",
                      [](const auto& e) { return shown(e.getSettingsName(), e.getDetail()); });
        expectFailure(ErrorReadingSettingsData(ErrorReadingSettingsData::ErrorCode{-3}, u"d é"),
                      "Value of settings could not be read. Error code: -3. More details: d é", "-3 u:d é",
                      [](const auto& e) { return shown(e.getErrorCode(), e.getDetail()); });
        expectFailure(ErrorSaveSettingsDueToFileIOError(A, u"file"),
                      "Failed to open a file stream for write.", "A u:file",
                      [](const auto& e) { return shown(e.getCausingObject(), e.getFileName()); });
        expectFailure(
            ErrorWriteToTempSettingsFile(A, u"file.tmp", 28, u"full"),
            "Cannot open a temp file to save the Settings object. It could be due to out of file handle or "
            "other reasons.",
            "A u:file.tmp 28 u:full", [](const auto& e) {
                return shown(e.getCausingObject(), e.getTempFilePath(), e.getErrorNum(), e.getDetail());
            });
        expectFailure(NoFileWritePermission(
                          C, settings::core::SettingsLevel("user", {}, true, 1, false, false, true, false),
                          {u"a", u"b"}),
                      "Cannot write to the level specified. You may not have write permission on that level.",
                      "A user 1 [u:a,u:b]", [](const auto& e) {
                          return shown(e.getCausingObject(), e.getLevelName(), e.getLevel()->isUserLevel(),
                                       e.getPaths());
                      });
        expectFailure(
            RelativePreferencePathNotSupported(u"prefs/é"),
            "Unable to start VARNEK. The preference folder path must be an absolute path.",
            "u:prefs/é Unable to start VARNEK. Relative path for preferences directory ('prefs/é') is not "
            "supported",
            [](const auto& e) { return shown(e.getPrefdirLocation(), e.getErrorMessage()); });
        expectFailure(
            InvalidValidator(),
            "Could not find and execute the validator function. The request to add the setting is not "
            "successful.",
            "", [](const auto&) { return shown(); });
        expectFailure(MultipleRuntimeFuncError(A),
                      "There are multiple runtime function defined on this key. This is not allowed.", "A",
                      [](const auto& e) { return shown(e.getCausingObject()); });
        const auto callFields = [](const auto& e) {
            return shown(e.getPackageName(), e.getFunctionName(), e.getCause());
        };
        expectFailure(RunTimeFuncInvokingError("pkg", "fcn", u"why"),
                      "Error invoking runtime function. Please refer to error message for detail.",
                      "pkg fcn u:why", callFields);
        expectFailure(ValidationFunctionInvokingError("pkg", "fcn", u"why"),
                      "Error invoking validation function. Please refer to error message for detail.",
                      "pkg fcn u:why", callFields);
        expectFailure(RuntimeFuncErrorConvertingVxArrayToAny("pkg", "fcn", typeid(varnek::data::Array)),
                      "The runtime function returns an vxArray that is not convertible to a supported type.",
                      "pkg fcn varnek::data::Array", [](const auto& e) {
                          return shown(e.getPackageName(), e.getFunctionName(),
                                       boost::core::demangle(e.getValueType().name()));
                      });
    }

    void remoteFailures() {
        const std::string connection =
            "Cannot check connection to the setting tree of n via remote node on another Host.";
        const std::string loading =
            "Loading user settings remotely (via remote node n) is not supported yet.";
        expectRemoteFailure<AddingSettingRemotelyIsNotSupported>(
            "Adding setting remotely (via remote node n) is not supported yet.", "n");
        expectRemoteFailure<AddingSettingsGroupRemotelyIsNotSupported>(
            "Adding settings group remotely (via remote node n) is not supported yet.", "n");
        expectRemoteFailure<ConnectionToSettingsTreeCannotBeCheckedRemotely>(connection, "n");
        expectRemoteFailure<GetThisObjectImplCannotBeCalledRemotely>(connection, "n");
        expectRemoteFailure<DataTypeIndexCannotBeRetrievedRemotely>(
            "Cannot retrieve the data type index via remote node n on another Host.", "n");
        expectRemoteFailure<FactoryFileCannotBeRegisteredRemotely>(
            "Cannot register the factory file f in resources folder r via the remote node n; local node must "
            "be "
            "used for "
            "registration.",
            "f", "r", "n");
        expectRemoteFailure<FactoryFileCannotBeReloadedRemotely>(
            "Cannot reload the factory file f via the remote node n; local node must be used for reloading.",
            "f", "n");
        expectRemoteFailure<FactoryFileCannotBeWrittenRemotely>(
            "Cannot write the factory file f via the remote node n; local node must be used for writing "
            "factory "
            "files.",
            "f", "n");
        expectRemoteFailure<GetRootIndexShouldNotBeCalledRemotely>(
            "SettingsNodeImpl::getRootIndex should not be called remotely (via remote node n).", "n");
        expectRemoteFailure<MergeDescendantsShouldNotBeCalledRemotely>(
            "SettingsNodeImpl::mergeDescendants should not be called remotely (via remote node n).", "n");
        expectRemoteFailure<GettingVersionNumberRemotelyNotSupported>(
            "Getting version number remotely (via remote node n) is not supported yet.", "n");
        expectRemoteFailure<LoaderAddedCannotBeCalledRemotely>(
            "The SettingsNodeImpl::loaderAdded cannot be called on remote node n", "n");
        expectRemoteFailure<LoadingUserSettingsRemotelyIsNotSupported>(loading, "n");
        expectRemoteFailure<MultipleSetShouldNotBeCalledRemotely>(loading, "n");
        expectRemoteFailure<MultipleValidateShouldNotBeCalledRemotely>(loading, "n");
        expectRemoteFailure<ParentSettingsGroupNotFound>(
            "Settings group g for a remote settings call couldn't be found.", "g");
        expectRemoteFailure<SettingParentRemotelyNotSupported>(
            "Remotely assigning a new parent node to a given node (n) is not supported.", "n");
        expectRemoteFailure<SettingValidatorRemotelyNotSupported>(
            "Setting validator remotely (via remote node n) is not supported yet.", "n");
        expectRemoteFailure<SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray>(
            "Cannot remotely retrieve value for setting k on the settings tree path p.  Remote setting value "
            "retrieval "
            "may be performed only via GetMdArray.",
            "k", "p");
        expectRemoteFailure<SettingsCannotBeConstructedRemotely>(
            "Cannot construct setting k via the remote node for n; local node must be used for construction "
            "of "
            "settings.",
            "k", "n");
        expectRemoteFailure<ValidatingSettingValuesRemotelyNotSupported>(
            "Remotely validating setting values for a given node (n) is not supported.", "n");
        expectRemoteFailure<RemoteNodesDoNotSynchronizeWithVCOSTree>(
            "An illegal attempt has been made to synchronize the remote settings node n with the VCOS "
            "settings "
            "tree on "
            "another Host.",
            "n");
        expectRemoteFailure<FailedToPublishException>("Failed to publish service: d", "d");
        expectRemoteFailure<MissingPropertyException>("Missing property: p", "p");
        expectRemoteFailure<NoInvokableForServiceReference>("Missing invokable: i", "i");
        expectRemoteFailure<ServicePublishTimeout>("Timeout publishing services");
    }

    void failuresOfSingleFiles() {
        const std::string missing = "Requested file does not exist.";
        expectFailure(FileCannotBeOpened(u"f", "user"), missing, "u:f user",
                      [](const auto& e) { return shown(e.getFilePath(), e.getLevelName()); });
        expectFailure(FileDoesNotExist(u"f"), missing, "u:f",
                      [](const auto& e) { return shown(e.getFilePath()); });
        const auto fields = [](const auto& e) { return shown(e.getFilePath(), e.getCause()); };
        expectFailure(PackageCannotBeOpened(u"f"), "Failed to open OPC Package", "u:f u:", fields);
        expectFailure(PackageCannotBeOpened(u"f", u"é"), "Failed to open OPC Package; Error: é", "u:f u:é",
                      fields);
        expectFailure(SettingsFileNotWritten(u"f"), "Failed to write settings file; Error: Unknown",
                      "u:f u:Unknown", fields);
        expectFailure(SettingsFileNotWritten(u"f", u"full"), "Failed to write settings file; Error: full",
                      "u:f u:full", fields);
    }

    const Expect& expect_;
};

} // namespace settings::test
