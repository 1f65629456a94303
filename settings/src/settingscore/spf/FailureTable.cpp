// Every failure that crosses between processes, one line per type.

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/exception/PublicationFailures.hpp"
#include "settingscore/spf/FailureFields.hpp"

#include <boost/type_index.hpp>

#include <array>
#include <functional>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

namespace settings::spf {

namespace {

using namespace core::exception;
using fields::Decoding;
using varnek::spf::ProviderFailure;
using varnek::spf::Value;

/// One type of failure.
struct Row {
    std::string name;
    Value::List (*encode)(const std::exception& failure, const HandleCoding& handles);
    void (*raise)(const Value::List& fields, const HandleCoding& handles);
};

const Value& field(const Value::List& values, std::size_t position) {
    if (position >= values.size())
        fields::refuse("a field is missing");
    return values[position];
}

template <class Failure>
std::string nameOf() {
    return boost::typeindex::type_id<Failure>().pretty_name();
}

// ---- types that are made again from what their accessors give, in the order of the constructor ----

template <class Failure, auto accessor>
using FieldOf = std::decay_t<std::invoke_result_t<decltype(accessor), const Failure&>>;

template <class Failure, auto... accessors>
struct Plain {
    static Value::List encode(const std::exception& failure, const HandleCoding& handles) {
        [[maybe_unused]] const auto& own = dynamic_cast<const Failure&>(failure);
        return {fields::encode(std::invoke(accessors, own), handles)...};
    }
    static void raise(const Value::List& values, const HandleCoding& handles) {
        raise(values, handles, std::make_index_sequence<sizeof...(accessors)>());
    }

  private:
    template <std::size_t... at>
    [[noreturn]] static void raise([[maybe_unused]] const Value::List& values,
                                   [[maybe_unused]] const HandleCoding& handles, std::index_sequence<at...>) {
        throw Failure(Decoding<FieldOf<Failure, accessors>>::decode(field(values, at), handles)...);
    }
};

template <class Failure, auto... accessors>
Row plain() {
    using Coding = Plain<Failure, accessors...>;
    return {nameOf<Failure>(), &Coding::encode, &Coding::raise};
}

// ---- types whose text is built around names and that keep nothing else ----

template <class Failure, std::size_t count, std::size_t... at>
Failure around(const std::array<std::string, count>& names, std::index_sequence<at...>) {
    return Failure(names[at]...);
}

/// The names, as they stand between the fixed parts of the text. Where a name holds such a part, they may
/// fall otherwise; the text is the same.
template <class Failure, std::size_t count>
std::array<std::string, count> namesIn(std::string_view text) {
    std::array<std::string, count> marks, names;
    for (std::size_t i = 0; i < count; ++i)
        marks[i] = std::string(1, static_cast<char>(i + 1));
    const std::string pattern = around<Failure>(marks, std::make_index_sequence<count>()).what();
    std::size_t from = pattern.find(marks[0]);
    text.remove_prefix(from);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t next = i + 1 < count ? pattern.find(marks[i + 1]) : pattern.size();
        const std::string behind = pattern.substr(from + 1, next - from - 1);
        const std::size_t end = i + 1 < count ? text.find(behind) : text.size() - behind.size();
        names[i] = text.substr(0, end);
        text.remove_prefix(end + behind.size());
        from = next;
    }
    return names;
}

template <class Failure, std::size_t count>
struct Built {
    static Value::List encode(const std::exception& failure, const HandleCoding&) {
        const auto names = namesIn<Failure, count>(failure.what());
        return {names.begin(), names.end()};
    }
    static void raise(const Value::List& values, const HandleCoding&) {
        std::array<std::string, count> names;
        for (std::size_t i = 0; i < count; ++i)
            names[i] = field(values, i).asText();
        throw around<Failure>(names, std::make_index_sequence<count>());
    }
};

template <class Failure, std::size_t count = 1>
Row built() {
    return {nameOf<Failure>(), &Built<Failure, count>::encode, &Built<Failure, count>::raise};
}

// ---- types of the message catalogue ----

template <class Failure>
struct Message;

template <class Tag>
struct Message<varnek::catalogue::MessageException<Tag>> {
    using Failure = varnek::catalogue::MessageException<Tag>;

    static Value::List encode(const std::exception& failure, const HandleCoding&) {
        const auto& arguments = dynamic_cast<const Failure&>(failure).arguments();
        return {arguments.begin(), arguments.end()};
    }
    static void raise(const Value::List& values, const HandleCoding&) {
        raise(values, std::make_index_sequence<Tag::argumentCount>());
    }

  private:
    template <std::size_t... at>
    [[noreturn]] static void raise([[maybe_unused]] const Value::List& values, std::index_sequence<at...>) {
        throw Failure(field(values, at).asText()...);
    }
};

template <class Failure>
Row message() {
    return {nameOf<Failure>(), &Message<Failure>::encode, &Message<Failure>::raise};
}

// ---- the table ----

std::vector<Row> treeFailures() {
    return {
        plain<AttemptToGetValueFromVoid>(),
        plain<AttemptedRemovalOfFactoryGroupOrSetting,
              &AttemptedRemovalOfFactoryGroupOrSetting::getObjectInvovled,
              &AttemptedRemovalOfFactoryGroupOrSetting::getLevelNeedToBeUpdated,
              &AttemptedRemovalOfFactoryGroupOrSetting::getLevelsHasWritenPermissionOn>(),
        plain<CanNotAddKeyToRootException, &CanNotAddKeyToRootException::getCausingObject>(),
        plain<CannotAddKeyToRoot, &CannotAddKeyToRoot::getInputName>(),
        plain<CanOnlyMergeTreeNodeWithStandaloneNode,
              &CanOnlyMergeTreeNodeWithStandaloneNode::getObjectInvovled,
              &CanOnlyMergeTreeNodeWithStandaloneNode::getOtherObject>(),
        plain<CannotAddRemoveNodeUnderReadOnlyParent,
              &CannotAddRemoveNodeUnderReadOnlyParent::getParentObject,
              &CannotAddRemoveNodeUnderReadOnlyParent::getChildObject>(),
        plain<CannotChangeValueForReadOnlySetting, &CannotChangeValueForReadOnlySetting::getCausingObject>(),
        plain<CannotExportSettingsRoot, &CannotExportSettingsRoot::getObjectInvovled>(),
        plain<CannotExportStandaloneSettings, &CannotExportStandaloneSettings::getObjectInvovled>(),
        plain<CannotMergeWithSettingsRoot, &CannotMergeWithSettingsRoot::getObjectInvovled>(),
        plain<CantModifyValuesOnReadOnlyLevel, &CantModifyValuesOnReadOnlyLevel::getObjectInvovled,
              &CantModifyValuesOnReadOnlyLevel::getLevelToModify>(),
        plain<CantReloadFactoryFile, &CantReloadFactoryFile::getToolboxName>(),
        plain<ErrorAddingChildNodeOrKey, &ErrorAddingChildNodeOrKey::getObjectInvovled,
              &ErrorAddingChildNodeOrKey::getExistingNodeKeyName>(),
        plain<ErrorAddingTopLevelNode, &ErrorAddingTopLevelNode::getExistingProductName>(),
        plain<ErrorCreateFactoryFileFromATreeNode, &ErrorCreateFactoryFileFromATreeNode::getObjectInvovled>(),
        plain<ErrorExportMultipleNodesBelongsToDiffProducts,
              &ErrorExportMultipleNodesBelongsToDiffProducts::getProduct1Name,
              &ErrorExportMultipleNodesBelongsToDiffProducts::getProduct2Name>(),
        plain<ErrorExportOrImportSettingsUsingRelativePath,
              &ErrorExportOrImportSettingsUsingRelativePath::getObjectInvovled,
              &ErrorExportOrImportSettingsUsingRelativePath::getPath>(),
        plain<ErrorMergingNodesWithDiffAttr, &ErrorMergingNodesWithDiffAttr::getSrcObject,
              &ErrorMergingNodesWithDiffAttr::getDesObject,
              &ErrorMergingNodesWithDiffAttr::getAttributeName>(),
        plain<ErrorMergingWithCircularReference, &ErrorMergingWithCircularReference::getObjectInvovled,
              &ErrorMergingWithCircularReference::getCausingObject>(),
        plain<InvalidNodePath, &InvalidNodePath::getObjectInvovled, &InvalidNodePath::getInvalidName>(),
        plain<InvalidSettingOrGroupName, &InvalidSettingOrGroupName::getInputNodeName>(),
        plain<NoSuchKey, &NoSuchKey::getObjectInvovled, &NoSuchKey::getInputName>(),
        plain<NoSuchNode, &NoSuchNode::getObjectInvovled, &NoSuchNode::getInputName>(),
        plain<NotAKeyName, &NotAKeyName::getObjectInvovled, &NotAKeyName::getInputName>(),
        plain<NotANodeName, &NotANodeName::getObjectInvovled, &NotANodeName::getInputName>(),
        plain<ProductNodeAlreadyExisted, &ProductNodeAlreadyExisted::getInputName,
              &ProductNodeAlreadyExisted::getExistingName>(),
        plain<SameNameChildAlreadyExisted, &SameNameChildAlreadyExisted::getObjectInvovled,
              &SameNameChildAlreadyExisted::getInputName>(),
        plain<UnSupportedLevel, &UnSupportedLevel::getObjectInvovled, &UnSupportedLevel::getInputLevel,
              &UnSupportedLevel::getSupportedLevelList>(),
        plain<ValueNotDefinedForGivenLevel, &ValueNotDefinedForGivenLevel::getObjectInvovled,
              &ValueNotDefinedForGivenLevel::getLevel>(),
    };
}

template <class Failure>
Row kindOfValue() {
    return plain<Failure, &ValidationException::getCausingObject,
                 &ValidationException::getCausingObjectParent>();
}

std::vector<Row> validationFailures() {
    return {
        plain<DataArraySizeOutOfRange, &ValidationException::getCausingObject,
              &ValidationException::getCausingObjectParent, &DataArraySizeOutOfRange::getMinArraySize,
              &DataArraySizeOutOfRange::getMaxArraySize, &DataArraySizeOutOfRange::getActualArraySize>(),
        plain<UnsupportedType, &ValidationException::getCausingObject, &UnsupportedType::getTypeName>(),
        plain<DefaultValidationFailedOnVoidType, &ValidationException::getCausingObject>(),
        plain<ValueIsNotOneOfTheChoicesAndNotInRange, &ValidationException::getCausingObject,
              &ValidationException::getCausingObjectParent,
              &ValueIsNotOneOfTheChoicesAndNotInRange::getValueToSetStr,
              &ValueIsNotOneOfTheChoicesAndNotInRange::getChoicesStr,
              &ValueIsNotOneOfTheChoicesAndNotInRange::getMinValueStr,
              &ValueIsNotOneOfTheChoicesAndNotInRange::getMaxValueStr>(),
        plain<ValueIsNotInRange, &ValidationException::getCausingObject,
              &ValidationException::getCausingObjectParent, &ValueIsNotInRange::getValueToSetStr,
              &ValueIsNotInRange::getMinValueStr, &ValueIsNotInRange::getMaxValueStr>(),
        plain<DataTypeNotMatch, &ValidationException::getCausingObject,
              &DataTypeNotMatch::getExpectedTypeName, &DataTypeNotMatch::getActualTypeName>(),
        plain<ExceptionFromValidationFunction, &ValidationException::getCausingObject,
              &ValidationException::getCausingObjectParent, &ExceptionFromValidationFunction::getPackageName,
              &ExceptionFromValidationFunction::getFunctionName, &ExceptionFromValidationFunction::getKeyName,
              &ExceptionFromValidationFunction::getValue, &ExceptionFromValidationFunction::getCause>(),
        kindOfValue<ValueMustBeScalar>(),
        kindOfValue<ValueMustBeString>(),
        kindOfValue<ValueMustBeLogical>(),
        kindOfValue<ValueMustBeNumeric>(),
        kindOfValue<ValueMustBeInteger>(),
        plain<ValueTooLargeForFile, &ValidationException::getCausingObject>(),
    };
}

std::vector<Row> fileAndFunctionFailures() {
    return {
        plain<ErrorLoadingLibrary, &ErrorLoadingLibrary::getLibName,
              &ErrorLoadingLibrary::getSystemMessage>(),
        plain<ErrorMigratePrefsBetweenReleases, &ErrorMigratePrefsBetweenReleases::getPrevFullRelTag,
              &ErrorMigratePrefsBetweenReleases::getCurrFullRelTag>(),
        plain<ErrorMigrateSettingsBetweenReleases, &ErrorMigrateSettingsBetweenReleases::getSettingsName,
              &ErrorMigrateSettingsBetweenReleases::getDetail>(),
        plain<ErrorReadingSettingsData, &ErrorReadingSettingsData::getErrorCode,
              &ErrorReadingSettingsData::getDetail>(),
        plain<ErrorSaveSettingsDueToFileIOError, &ErrorSaveSettingsDueToFileIOError::getCausingObject,
              &ErrorSaveSettingsDueToFileIOError::getFileName>(),
        plain<ErrorWriteToTempSettingsFile, &ErrorWriteToTempSettingsFile::getCausingObject,
              &ErrorWriteToTempSettingsFile::getTempFilePath, &ErrorWriteToTempSettingsFile::getErrorNum,
              &ErrorWriteToTempSettingsFile::getDetail>(),
        plain<NoFileWritePermission, &NoFileWritePermission::getCausingObject,
              &NoFileWritePermission::getLevel, &NoFileWritePermission::getPaths>(),
        plain<RelativePreferencePathNotSupported, &RelativePreferencePathNotSupported::getPrefdirLocation>(),
        plain<FileCannotBeOpened, &FileCannotBeOpened::getFilePath, &FileCannotBeOpened::getLevelName,
              &FileCannotBeOpened::getCause>(),
        plain<FileDoesNotExist, &FileDoesNotExist::getFilePath>(),
        plain<PackageCannotBeOpened, &PackageCannotBeOpened::getFilePath, &PackageCannotBeOpened::getCause>(),
        plain<SettingsFileNotWritten, &SettingsFileNotWritten::getFilePath,
              &SettingsFileNotWritten::getCause>(),
        plain<InvalidValidator>(),
        plain<MultipleRuntimeFuncError, &MultipleRuntimeFuncError::getCausingObject>(),
        plain<RunTimeFuncInvokingError, &RunTimeFuncInvokingError::getPackageName,
              &RunTimeFuncInvokingError::getFunctionName, &RunTimeFuncInvokingError::getCause>(),
        plain<RuntimeFuncErrorConvertingVxArrayToAny, &RuntimeFuncErrorConvertingVxArrayToAny::getPackageName,
              &RuntimeFuncErrorConvertingVxArrayToAny::getFunctionName,
              &RuntimeFuncErrorConvertingVxArrayToAny::getValueType>(),
        plain<ValidationFunctionInvokingError, &ValidationFunctionInvokingError::getPackageName,
              &ValidationFunctionInvokingError::getFunctionName,
              &ValidationFunctionInvokingError::getCause>(),
        // what code outside the library raises
        plain<core::SettingsException, &core::SettingsException::msgId, &core::SettingsException::what,
              &core::SettingsException::exceptionKey>(),
    };
}

std::vector<Row> remoteFailures() {
    return {
        built<AddingSettingRemotelyIsNotSupported>(),
        built<AddingSettingsGroupRemotelyIsNotSupported>(),
        built<ConnectionToSettingsTreeCannotBeCheckedRemotely>(),
        built<GetThisObjectImplCannotBeCalledRemotely>(),
        built<DataTypeIndexCannotBeRetrievedRemotely>(),
        built<FactoryFileCannotBeRegisteredRemotely, 3>(),
        built<FactoryFileCannotBeReloadedRemotely, 2>(),
        built<FactoryFileCannotBeWrittenRemotely, 2>(),
        built<GetRootIndexShouldNotBeCalledRemotely>(),
        built<MergeDescendantsShouldNotBeCalledRemotely>(),
        built<GettingVersionNumberRemotelyNotSupported>(),
        built<LoaderAddedCannotBeCalledRemotely>(),
        built<LoadingUserSettingsRemotelyIsNotSupported>(),
        built<MultipleSetShouldNotBeCalledRemotely>(),
        built<MultipleValidateShouldNotBeCalledRemotely>(),
        built<ParentSettingsGroupNotFound>(),
        built<SettingParentRemotelyNotSupported>(),
        built<SettingValidatorRemotelyNotSupported>(),
        built<SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray, 2>(),
        built<SettingsCannotBeConstructedRemotely, 2>(),
        built<ValidatingSettingValuesRemotelyNotSupported>(),
        built<RemoteNodesDoNotSynchronizeWithVCOSTree>(),
        built<FailedToPublishException>(),
        built<MissingPropertyException>(),
        built<NoInvokableForServiceReference>(),
        plain<ServicePublishTimeout>(),
        plain<RemoteCallFailed, &RemoteCallFailed::getFault, &RemoteCallFailed::getNode,
              &RemoteCallFailed::getOperation, &RemoteCallFailed::getCause>(),
    };
}

std::vector<Row> catalogueFailures() {
    namespace core = VARNEK::settings::core;
    namespace prefdir = VARNEK::settings::prefdir;
    namespace config = VARNEK::settings::config;
    return {
        message<core::CFunctionNotFound>(),
        message<core::SettingsLibraryNotInitialized>(),
        message<core::JVMNotReadyForProcessingJavaFunction>(),
        message<core::VARNEKFuncMustBeInvokedByExecEngine>(),
        message<core::ExecEngineNotReadyForProcessingMFunction>(),
        message<core::UnconvertibleType>(),
        message<core::DataTypeNotMatch>(),
        message<core::CanNotCreateTempDirectory>(),
        message<core::NoWritePermissionOnDirectory>(),
        message<core::ErrorOverwriteFileInPrefDir>(),
        message<core::ErrorCreatePreferenceDirectoryTimeStamp>(),
        message<core::PreferenceDirectoryNotExist>(),
        message<core::ErrorCopyFileInPrefDir>(),
        message<core::SettingsUserDirectoryNotExist>(),
        message<prefdir::CreateTempPrefdirErrorSuffix>(),
        message<prefdir::FileNameTooLarge>(),
        message<prefdir::InvalidArgument>(),
        message<prefdir::FileNameConversionFailure>(),
        message<prefdir::PathNotFound>(),
        message<prefdir::BadAlloc>(),
        message<prefdir::DefaultError>(),
        message<prefdir::SystemError>(),
        message<config::ErrorAddingProductSettingsGroup>(),
        message<config::FactoryTreeChangesAreEmpty>(),
        message<config::FactoryTreeDoesNotExist>(),
        message<config::GroupOrSettingNameAlreadyExists>(),
        message<config::InvalidPersonalSettingsVersion>(),
        message<config::PathNotRelativeToMasterFile>(),
    };
}

/// Never destroyed: calls may come until the process ends.
const std::map<std::string, Row>& table() {
    static const auto& rows = *new auto([] {
        std::map<std::string, Row> all;
        for (const auto& part : {treeFailures(), validationFailures(), fileAndFunctionFailures(),
                                 remoteFailures(), catalogueFailures()})
            for (const Row& row : part)
                all.emplace(row.name, row);
        return all;
    }());
    return rows;
}

} // namespace

void raiseForCaller(const std::exception& failure, const HandleCoding& handles) {
    const std::string name = boost::typeindex::type_id_runtime(failure).pretty_name();
    const auto row = table().find(name);
    if (row != table().end())
        throw ProviderFailure(name, failure.what(), row->second.encode(failure, handles));
}

void raiseAsItsType(const ProviderFailure& failure, const HandleCoding& handles) {
    const auto row = table().find(failure.type());
    if (row == table().end())
        return;
    try {
        row->second.raise(failure.fields(), handles);
    } catch (const varnek::spf::RemoteError&) { // fields of another version of the type
    }
}

std::vector<std::string> failureTypes() {
    std::vector<std::string> names;
    for (const auto& [name, row] : table())
        names.push_back(name);
    return names;
}

} // namespace settings::spf
