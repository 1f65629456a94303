// Every failure class: its text, what its accessors give back, and its way to another thread.
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/exception/PublicationFailures.hpp"
#include "settingscore/level/SettingsLevel.hpp"
#include "settingscore/settings/file/FileFault.hpp"
#include "json/ConversionError.hpp"
#include "json/ParseError.hpp"

#include <boost/any.hpp>
#include <boost/core/demangle.hpp>
#include <boost/locale/encoding_utf.hpp>
#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include <concepts>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <regex>
#include <set>
#include <thread>

namespace {

using namespace settings::core::exception;
using settings::core::Settings;
using varnek::data::Array;

// Handles to nothing: they are compared, never followed.
template <class T>
boost::shared_ptr<T> handle(int& owner) {
    static const auto alive = boost::make_shared<int>();
    return boost::shared_ptr<T>(alive, reinterpret_cast<T*>(&owner));
}
int ownerA, ownerB;
const ObjectHandle A = handle<Settings>(ownerA);
const ObjectHandle B = handle<Settings>(ownerB);
const boost::shared_ptr<Settings> C = handle<Settings>(ownerA);

std::string show(const ObjectHandle& object) {
    return object == A ? "A" : object == B ? "B" : object ? "?" : "none";
}
std::string show(const std::string& text) {
    return text;
}
std::string show(const std::u16string& text) {
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
std::string show(const Array& value) {
    return value.isVoid() ? "void" : show(value.text());
}

// The values of these accessors, one after the other.
template <class... T>
std::string shown(const T&... values) {
    std::string result;
    ((result += (result.empty() ? "" : " ") + show(values)), ...);
    return result;
}

// Raised by `raise` on a thread of its own and carried back to this one.
std::exception_ptr fromAnotherThread(const std::function<void()>& raise) {
    std::exception_ptr carried;
    std::thread([&] {
        try {
            raise();
        } catch (...) {
            carried = std::current_exception();
        }
    }).join();
    return carried;
}

std::set<std::string> seen;

// `fields` reads the accessors; `values` is what they must give, for the object and for each kind of copy.
template <class E, class Fields>
void expectFailure(const E& failure, const std::string& text, const std::string& values, Fields fields) {
    static_assert(std::derived_from<E, settings::core::exception::SettingsException>);
    static_assert(std::is_nothrow_copy_constructible_v<E>);
    const std::string name = boost::core::demangle(typeid(E).name());
    SCOPED_TRACE(name);
    seen.insert(name);

    EXPECT_EQ(failure.what(), text);
    EXPECT_EQ(fields(failure), values);
    if constexpr (std::derived_from<E, ValidationException>) {
        EXPECT_EQ(show(failure.getErrorMsg()), "u:" + text);
    }

    std::unique_ptr<varnek::exception::Exception> copy;
    {
        const auto original = std::make_unique<const E>(failure); // gone before its clone is looked at
        copy = original->clone();
    }
    const varnek::exception::Exception& cloned = *copy;
    ASSERT_EQ(typeid(cloned), typeid(E));
    EXPECT_EQ(copy->what(), text);
    try {
        std::rethrow_exception(fromAnotherThread([&] { copy->rethrow(); }));
    } catch (const settings::core::exception::SettingsException& caught) {
        ASSERT_EQ(typeid(caught), typeid(E));
        EXPECT_EQ(caught.what(), text);
        EXPECT_EQ(fields(dynamic_cast<const E&>(caught)), values);
    }
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

// A refusal that a front end adds.
class OwnRefusal : public Cloneable<OwnRefusal, ValidationException> {
  public:
    OwnRefusal() : Cloneable(A, B, ValidationErrorCode::valueMustBeString, u"own") {}
    const char* what() const noexcept override { return "own"; }
};

void treeFailures() {
    expectFailure(AttemptToGetValueFromVoid(), "Attempt to retrieve value from a void boost::any variable.",
                  "", [](const auto&) { return shown(); });
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
    expectObjectFailure<CannotExportSettingsRoot>("Users can only export product node or sub product node.");
    expectObjectFailure<CannotExportStandaloneSettings>(
        "Users can only export settings node on the settings tree.");
    expectObjectFailure<CannotMergeWithSettingsRoot>("Users can only  merge settings with product node or "
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
        expectFailure(failure, "The product name has already existed. Product name cannot only vary by case.",
                      "u:Éditor", [](const auto& e) { return shown(e.getExistingProductName()); });
    expectObjectFailure<ErrorCreateFactoryFileFromATreeNode>(
        "Cannot create a factory file from a settings node on the Settings tree. Please create/edit factory "
        "file with "
        "a standalone node.");
    for (const auto& failure : {ErrorExportMultipleNodesBelongsToDiffProducts(u"one", u"two"),
                                ErrorExportMultipleNodesBelongsToDiffProducts("one", "two")})
        expectFailure(failure, "The exported node belongs to the different product.", "u:one u:two",
                      [](const auto& e) { return shown(e.getProduct1Name(), e.getProduct2Name()); });
    const auto pathFields = [](const auto& e) { return shown(e.getObjectInvovled(), e.getPath()); };
    const std::string pathText = "The Settings import or export function can only take full path";
    expectFailure(ErrorExportOrImportSettingsUsingRelativePath(A, u"a/b"), pathText, "A u:a/b", pathFields);
    expectFailure(ErrorExportOrImportSettingsUsingRelativePath(u"a/b"), pathText, "none u:a/b", pathFields);
    expectFailure(
        ErrorMergingNodesWithDiffAttr(A, B, u"readonly"),
        "The nodes should be the same, but they have different attributes' value. Cannot merge them.",
        "A B u:readonly",
        [](const auto& e) { return shown(e.getSrcObject(), e.getDesObject(), e.getAttributeName()); });
    expectFailure(ErrorMergingWithCircularReference(A, B), "Cannot merge two settings who has same ancestor.",
                  "A B", [](const auto& e) { return shown(e.getObjectInvovled(), e.getCausingObject()); });
    expectFailure(InvalidNodePath(A, "a.b"),
                  "The setting name (could be dot separated path) does not represent a valid setting",
                  "A a.b", [](const auto& e) { return shown(e.getObjectInvovled(), e.getInvalidName()); });
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
            failure, "Product node already existed. The product node name cannot only be different by case.",
            "u:Éditor u:éditor", [](const auto& e) { return shown(e.getInputName(), e.getExistingName()); });
    expectNamedFailure<SameNameChildAlreadyExisted>("Error add node, same name child has already existed.");
    expectFailure(UnSupportedLevel(A, "x", {"session", "user"}),
                  "The level specified is not a supported level.", "A x [session,user]", [](const auto& e) {
                      return shown(e.getObjectInvovled(), e.getInputLevel(), e.getSupportedLevelList());
                  });
    expectFailure(ValueNotDefinedForGivenLevel(A, "user"),
                  "No value is not defined for this setting on the given level", "A user",
                  [](const auto& e) { return shown(e.getObjectInvovled(), e.getLevel()); });
}

void validationFailures() {
    expectFailure(OwnRefusal(), "own", "A B 8", [](const ValidationException& e) {
        return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode());
    });
    expectFailure(DataArraySizeOutOfRange(A, B, 2, std::numeric_limits<std::uint64_t>::max(), 1),
                  "The array size is out of range ",
                  "A B 0 1 2 18446744073709551615 u:1 u:2 u:18446744073709551615", [](const auto& e) {
                      return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                   e.getActualArraySize(), e.getMinArraySize(), e.getMaxArraySize(),
                                   e.getActualArraySizeStr(), e.getMinArraySizeStr(), e.getMaxArraySizeStr());
                  });
    expectFailure(UnsupportedType(A, "cell"), "The type of the value passed in is not on the supported list.",
                  "A none 1 cell", [](const auto& e) {
                      return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                                   e.getTypeName());
                  });
    expectFailure(DefaultValidationFailedOnVoidType(A), "The value passed in is void", "A none 1",
                  [](const auto& e) {
                      return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode());
                  });
    expectFailure(
        ValueIsNotOneOfTheChoicesAndNotInRange(A, B, u"v", u"choices", u"lo", u"hi"),
        "The value passed in is not one of the predefined choices and/or it is not in the predefined range.",
        "A B 2 u:v u:choices u:lo u:hi", [](const auto& e) {
            return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                         e.getValueToSetStr(), e.getChoicesStr(), e.getMinValueStr(), e.getMaxValueStr());
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
    expectFailure(
        ExceptionFromValidationFunction(A, B, "pkg", "fcn", "key", Array::text(u"v"), u"why"),
        "Exception thrown by the validation function.", "A B 6 pkg fcn key u:v u:why", [](const auto& e) {
            return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                         e.getPackageName(), e.getFunctionName(), e.getKeyName(), e.getValue(), e.getCause());
        });
    expectKindOfValueFailure<ValueMustBeScalar>("7", "The value must be scalar.");
    expectKindOfValueFailure<ValueMustBeString>("8", "The value must be string or convertible to string.");
    expectKindOfValueFailure<ValueMustBeLogical>("9", "The value must be logical or convertible to logical.");
    expectKindOfValueFailure<ValueMustBeNumeric>("10", "The value must be numeric.");
    expectKindOfValueFailure<ValueMustBeInteger>("11", "The value must be integer.");
}

void fileAndFunctionFailures() {
    expectFailure(ErrorLoadingLibrary("lib", u"gone"),
                  "Error loading the library, please refer to error message for reasons.", "lib u:gone",
                  [](const auto& e) { return shown(e.getLibName(), e.getSystemMessage()); });
    expectFailure(ErrorMigratePrefsBetweenReleases("R2024b", "R2025a"),
                  "Error copying the files from the previous release prefdir to the current release prefdir.",
                  "R2024b R2025a",
                  [](const auto& e) { return shown(e.getPrevFullRelTag(), e.getCurrFullRelTag()); });
    expectFailure(ErrorMigrateSettingsBetweenReleases(u"editor", u"why"),
                  "Error migrating settings from previous release to the current release.", "u:editor u:why",
                  [](const auto& e) { return shown(e.getSettingsName(), e.getDetail()); });
    expectFailure(ErrorReadingSettingsData(ErrorReadingSettingsData::ErrorCode{-3}, u"d é"),
                  "Value of settings could not be read. Error code: -3. More details: d é", "-3 u:d é",
                  [](const auto& e) { return shown(e.getErrorCode(), e.getDetail()); });
    expectFailure(ErrorSaveSettingsDueToFileIOError(A, u"file"), "Failed to open a file stream for write.",
                  "A u:file", [](const auto& e) { return shown(e.getCausingObject(), e.getFileName()); });
    expectFailure(
        ErrorWriteToTempSettingsFile(A, u"file.tmp", 28, u"full"),
        "Cannot open a temp file to save the Settings object. It could be due to out of file handle or "
        "other reasons.",
        "A u:file.tmp 28 u:full", [](const auto& e) {
            return shown(e.getCausingObject(), e.getTempFilePath(), e.getErrorNum(), e.getDetail());
        });
    expectFailure(
        NoFileWritePermission(
            C, settings::core::SettingsLevel("user", {}, true, 1, false, false, true, false), {u"a", u"b"}),
        "Cannot write to the level specified. You may not have write permission on that level.",
        "A user 1 [u:a,u:b]", [](const auto& e) {
            return shown(e.getCausingObject(), e.getLevelName(), e.getLevel()->isUserLevel(), e.getPaths());
        });
    expectFailure(
        RelativePreferencePathNotSupported(u"prefs/é"),
        "Unable to start VARNEK. The preference folder path must be an absolute path.",
        "u:prefs/é Unable to start VARNEK. Relative path for preferences directory ('prefs/é') is not "
        "supported",
        [](const auto& e) { return shown(e.getPrefdirLocation(), e.getErrorMessage()); });
    expectFailure(InvalidValidator(),
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
    expectFailure(RuntimeFuncErrorConvertingVxArrayToAny("pkg", "fcn", typeid(Array)),
                  "The runtime function returns an vxArray that is not convertible to a supported type.",
                  "pkg fcn varnek::data::Array", [](const auto& e) {
                      return shown(e.getPackageName(), e.getFunctionName(),
                                   boost::core::demangle(e.getValueType().name()));
                  });
}

void remoteFailures() {
    const std::string connection =
        "Cannot check connection to the setting tree of n via remote node on another Host.";
    const std::string loading = "Loading user settings remotely (via remote node n) is not supported yet.";
    expectRemoteFailure<AddingSettingRemotelyIsNotSupported>(
        "Adding setting remotely (via remote node n) is not supported yet.", "n");
    expectRemoteFailure<AddingSettingsGroupRemotelyIsNotSupported>(
        "Adding settings group remotely (via remote node n) is not supported yet.", "n");
    expectRemoteFailure<ConnectionToSettingsTreeCannotBeCheckedRemotely>(connection, "n");
    expectRemoteFailure<GetThisObjectImplCannotBeCalledRemotely>(connection, "n");
    expectRemoteFailure<DataTypeIndexCannotBeRetrievedRemotely>(
        "Cannot retrieve the data type index via remote node n on another Host.", "n");
    expectRemoteFailure<FactoryFileCannotBeRegisteredRemotely>(
        "Cannot register the factory file f in resources folder r via the remote node n; local node must be "
        "used for "
        "registration.",
        "f", "r", "n");
    expectRemoteFailure<FactoryFileCannotBeReloadedRemotely>(
        "Cannot reload the factory file f via the remote node n; local node must be used for reloading.", "f",
        "n");
    expectRemoteFailure<FactoryFileCannotBeWrittenRemotely>(
        "Cannot write the factory file f via the remote node n; local node must be used for writing factory "
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
        "Cannot construct setting k via the remote node for n; local node must be used for construction of "
        "settings.",
        "k", "n");
    expectRemoteFailure<ValidatingSettingValuesRemotelyNotSupported>(
        "Remotely validating setting values for a given node (n) is not supported.", "n");
    expectRemoteFailure<RemoteNodesDoNotSynchronizeWithVCOSTree>(
        "An illegal attempt has been made to synchronize the remote settings node n with the VCOS settings "
        "tree on "
        "another Host.",
        "n");
    expectRemoteFailure<FailedToPublishException>("Failed to publish service: d", "d");
    expectRemoteFailure<MissingPropertyException>("Missing property: p", "p");
    expectRemoteFailure<NoInvokableForServiceReference>("Missing invokable: i", "i");
    expectRemoteFailure<ServicePublishTimeout>("Timeout publishing services");
}

TEST(ExceptionCatalogue, EveryClassSaysItsTextAndTravels) {
    seen.clear();
    treeFailures();
    validationFailures();
    fileAndFunctionFailures();
    remoteFailures();
    EXPECT_EQ(seen.size(), 81u); // OwnRefusal stands for the abstract ValidationException
}

TEST(ExceptionCatalogue, FailuresOfSingleFiles) {
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

TEST(ExceptionCatalogue, ValidationFunctionFailureTakesAGenericValue) {
    const std::pair<boost::any, std::string> table[] = {
        {std::u16string(u"v"), "u:v"},
        {boost::any(), "void"},
        {std::string("narrow texts are no values"), "void"},
    };
    for (const auto& [value, shownValue] : table)
        expectFailure(
            ExceptionFromValidationFunction::createFromAny(A, B, "pkg", "fcn", "key", value, u"cause"),
            "Exception thrown by the validation function.", "A B 6 pkg fcn key " + shownValue + " u:cause",
            [](const auto& e) {
                return shown(e.getCausingObject(), e.getCausingObjectParent(), e.getErrorCode(),
                             e.getPackageName(), e.getFunctionName(), e.getKeyName(), e.getValue(),
                             e.getCause());
            });
}

TEST(ExceptionCatalogue, ErrorOfAPlugInPassesUnchanged) {
    const settings::core::SettingsException error("VARNEK:Settings:own", "The message", "key");
    static_assert(
        !std::derived_from<settings::core::SettingsException, settings::core::exception::SettingsException>);
    static_assert(std::is_nothrow_copy_constructible_v<settings::core::SettingsException>);
    const auto copy = error.clone();
    try {
        std::rethrow_exception(fromAnotherThread([&] { copy->rethrow(); }));
        FAIL();
    } catch (const settings::core::SettingsException& caught) {
        EXPECT_EQ(caught.msgId(), "VARNEK:Settings:own");
        EXPECT_STREQ(caught.what(), "The message");
        EXPECT_EQ(caught.exceptionKey(), "key");
    }
}

// A path may hold bytes that are no UTF-8. In UTF-16 they are lone surrogates, in what() the bytes again;
// what no path can hold shows as U+FFFD, and nothing behind it is lost.
TEST(ExceptionCatalogue, TextsKeepWhatIsNoUtf8) {
    const std::u16string path{u'/', 0xDCE9, u'b', u'a', u'd', 0xD800, u'x'};
    const std::string bytes = "/\xE9"
                              "bad\uFFFDx";
    EXPECT_EQ(ErrorReadingSettingsData(ErrorReadingSettingsData::ErrorCode::type, path).what(),
              "Value of settings could not be read. Error code: -11. More details: " + bytes);
    EXPECT_EQ(PackageCannotBeOpened(u"f", path).what(), "Failed to open OPC Package; Error: " + bytes);
    EXPECT_EQ(SettingsFileNotWritten(u"f", path).what(), "Failed to write settings file; Error: " + bytes);
    EXPECT_EQ(RelativePreferencePathNotSupported(path).getErrorMessage(),
              "Unable to start VARNEK. Relative path for preferences directory ('" + bytes +
                  "') is not supported");
    EXPECT_EQ(ErrorAddingTopLevelNode("/\xE9"
                                      "bad")
                  .getExistingProductName(),
              path.substr(0, 5));
}

TEST(ExceptionCatalogue, ReadErrorsNameTheirFile) {
    const std::filesystem::path file = "/files/\xE9\x1B[2Jbad.vksettings";
    try {
        settings::core::detail::FilePlace{file, "/a.json"}.refuse(settings::core::detail::ReadError::type,
                                                                  "$.x", "wrong");
        FAIL();
    } catch (const ErrorReadingSettingsData& failure) {
        EXPECT_STREQ(failure.what(), "Value of settings could not be read. Error code: -11. More details: "
                                     "\"/files/\xE9\\x1B[2Jbad.vksettings\", part \"/a.json\": $.x: wrong");
    }
}

// The page tells other programs what the numbers mean.
TEST(ExceptionCatalogue, ThePageOfTheFileFormatListsEveryErrorCode) {
    const auto found = [](const std::filesystem::path& file, const std::regex& pattern) {
        std::ifstream stream(std::filesystem::path(EXAMPLES_FOLDER) / ".." / file);
        std::map<int, std::string> codes;
        for (std::string line; std::getline(stream, line);)
            if (std::smatch match; std::regex_search(line, match, pattern))
                codes[std::abs(std::stoi(match.str(1).empty() ? match.str(3) : match.str(1)))] = match.str(2);
        return codes;
    };
    const auto inHeader = found("settings/include/settingscore/exception/FileFailures.hpp",
                                std::regex(R"(^ +()(\w+) = (-\d+),)"));
    const auto onPage = found("docs/file-format.md", std::regex(R"(^\| (-\d+) \| `(\w+)` \| \S)"));
    EXPECT_EQ(inHeader, onPage);
    EXPECT_GE(onPage.size(), 19u);
    // Those of the readers below carry their numbers into it.
    using varnek::json::ConversionFailure;
    using varnek::json::ParseFailure;
    for (const auto& [code, name] :
         {std::pair(static_cast<int>(ParseFailure::duplicateKey), "duplicateKey"),
          std::pair(static_cast<int>(ParseFailure::objectStart), "objectStart"),
          std::pair(static_cast<int>(ParseFailure::memberSeparator), "memberSeparator"),
          std::pair(static_cast<int>(ParseFailure::earlyEnd), "earlyEnd"),
          std::pair(static_cast<int>(ParseFailure::trailingText), "trailingText"),
          std::pair(static_cast<int>(ConversionFailure::className), "className"),
          std::pair(static_cast<int>(ConversionFailure::elementKind), "elementKind"),
          std::pair(static_cast<int>(ConversionFailure::shape), "shape")})
        EXPECT_EQ(onPage.count(-code) == 0 ? "missing" : onPage.at(-code), name);
}

// A copy on another thread keeps the node alive.
TEST(ExceptionCatalogue, CopiesShareTheirHandles) {
    auto owner = boost::make_shared<int>();
    std::unique_ptr<varnek::exception::Exception> copy =
        NoSuchNode(ObjectHandle(owner, reinterpret_cast<const Settings*>(owner.get())), "x").clone();
    const boost::weak_ptr<int> alive = owner;
    owner.reset();
    EXPECT_FALSE(alive.expired());
    copy.reset();
    EXPECT_TRUE(alive.expired());
}

} // namespace
