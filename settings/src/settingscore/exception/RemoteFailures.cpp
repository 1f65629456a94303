#include "settingscore/exception/RemoteFailures.hpp"

namespace settings::core::exception {

namespace {

// Texts that several classes share.

std::string connectionText(const std::string& node) {
    return "Cannot check connection to the setting tree of " + node + " via remote node on another Host.";
}

std::string loadingText(const std::string& node) {
    return "Loading user settings remotely (via remote node " + node + ") is not supported yet.";
}

} // namespace

AddingSettingRemotelyIsNotSupported::AddingSettingRemotelyIsNotSupported(const std::string& node)
    : Cloneable("Adding setting remotely (via remote node " + node + ") is not supported yet.") {}

AddingSettingsGroupRemotelyIsNotSupported::AddingSettingsGroupRemotelyIsNotSupported(const std::string& node)
    : Cloneable("Adding settings group remotely (via remote node " + node + ") is not supported yet.") {}

ConnectionToSettingsTreeCannotBeCheckedRemotely::ConnectionToSettingsTreeCannotBeCheckedRemotely(
    const std::string& node)
    : Cloneable(connectionText(node)) {}

GetThisObjectImplCannotBeCalledRemotely::GetThisObjectImplCannotBeCalledRemotely(const std::string& node)
    : Cloneable(connectionText(node)) {}

DataTypeIndexCannotBeRetrievedRemotely::DataTypeIndexCannotBeRetrievedRemotely(const std::string& node)
    : Cloneable("Cannot retrieve the data type index via remote node " + node + " on another Host.") {}

FactoryFileCannotBeRegisteredRemotely::FactoryFileCannotBeRegisteredRemotely(const std::string& file,
                                                                             const std::string& folder,
                                                                             const std::string& node)
    : Cloneable("Cannot register the factory file " + file + " in resources folder " + folder +
                " via the remote node " + node + "; local node must be used for registration.") {}

FactoryFileCannotBeReloadedRemotely::FactoryFileCannotBeReloadedRemotely(const std::string& file,
                                                                         const std::string& node)
    : Cloneable("Cannot reload the factory file " + file + " via the remote node " + node +
                "; local node must be used for reloading.") {}

FactoryFileCannotBeWrittenRemotely::FactoryFileCannotBeWrittenRemotely(const std::string& file,
                                                                       const std::string& node)
    : Cloneable("Cannot write the factory file " + file + " via the remote node " + node +
                "; local node must be used for writing factory files.") {}

GetRootIndexShouldNotBeCalledRemotely::GetRootIndexShouldNotBeCalledRemotely(const std::string& node)
    : Cloneable("SettingsNodeImpl::getRootIndex should not be called remotely (via remote node " + node +
                ").") {}

MergeDescendantsShouldNotBeCalledRemotely::MergeDescendantsShouldNotBeCalledRemotely(const std::string& node)
    : Cloneable("SettingsNodeImpl::mergeDescendants should not be called remotely (via remote node " + node +
                ").") {}

GettingVersionNumberRemotelyNotSupported::GettingVersionNumberRemotelyNotSupported(const std::string& node)
    : Cloneable("Getting version number remotely (via remote node " + node + ") is not supported yet.") {}

LoaderAddedCannotBeCalledRemotely::LoaderAddedCannotBeCalledRemotely(const std::string& node)
    : Cloneable("The SettingsNodeImpl::loaderAdded cannot be called on remote node " + node) {}

LoadingUserSettingsRemotelyIsNotSupported::LoadingUserSettingsRemotelyIsNotSupported(const std::string& node)
    : Cloneable(loadingText(node)) {}

MultipleSetShouldNotBeCalledRemotely::MultipleSetShouldNotBeCalledRemotely(const std::string& node)
    : Cloneable(loadingText(node)) {}

MultipleValidateShouldNotBeCalledRemotely::MultipleValidateShouldNotBeCalledRemotely(const std::string& node)
    : Cloneable(loadingText(node)) {}

ParentSettingsGroupNotFound::ParentSettingsGroupNotFound(const std::string& name)
    : Cloneable("Settings group " + name + " for a remote settings call couldn't be found.") {}

SettingParentRemotelyNotSupported::SettingParentRemotelyNotSupported(const std::string& node)
    : Cloneable("Remotely assigning a new parent node to a given node (" + node + ") is not supported.") {}

SettingValidatorRemotelyNotSupported::SettingValidatorRemotelyNotSupported(const std::string& node)
    : Cloneable("Setting validator remotely (via remote node " + node + ") is not supported yet.") {}

SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray::SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray(
    const std::string& key, const std::string& path)
    : Cloneable("Cannot remotely retrieve value for setting " + key + " on the settings tree path " + path +
                ".  Remote setting value retrieval may be performed only via GetMdArray.") {}

SettingsCannotBeConstructedRemotely::SettingsCannotBeConstructedRemotely(const std::string& key,
                                                                         const std::string& node)
    : Cloneable("Cannot construct setting " + key + " via the remote node for " + node +
                "; local node must be used for construction of settings.") {}

ValidatingSettingValuesRemotelyNotSupported::ValidatingSettingValuesRemotelyNotSupported(
    const std::string& node)
    : Cloneable("Remotely validating setting values for a given node (" + node + ") is not supported.") {}

RemoteNodesDoNotSynchronizeWithVCOSTree::RemoteNodesDoNotSynchronizeWithVCOSTree(const std::string& node)
    : Cloneable("An illegal attempt has been made to synchronize the remote settings node " + node +
                " with the VCOS settings tree on another Host.") {}

// Out of line, so that this library holds the type information.
AddingSettingRemotelyIsNotSupported::~AddingSettingRemotelyIsNotSupported() = default;
AddingSettingsGroupRemotelyIsNotSupported::~AddingSettingsGroupRemotelyIsNotSupported() = default;
ConnectionToSettingsTreeCannotBeCheckedRemotely::~ConnectionToSettingsTreeCannotBeCheckedRemotely() = default;
GetThisObjectImplCannotBeCalledRemotely::~GetThisObjectImplCannotBeCalledRemotely() = default;
DataTypeIndexCannotBeRetrievedRemotely::~DataTypeIndexCannotBeRetrievedRemotely() = default;
FactoryFileCannotBeRegisteredRemotely::~FactoryFileCannotBeRegisteredRemotely() = default;
FactoryFileCannotBeReloadedRemotely::~FactoryFileCannotBeReloadedRemotely() = default;
FactoryFileCannotBeWrittenRemotely::~FactoryFileCannotBeWrittenRemotely() = default;
GetRootIndexShouldNotBeCalledRemotely::~GetRootIndexShouldNotBeCalledRemotely() = default;
MergeDescendantsShouldNotBeCalledRemotely::~MergeDescendantsShouldNotBeCalledRemotely() = default;
GettingVersionNumberRemotelyNotSupported::~GettingVersionNumberRemotelyNotSupported() = default;
LoaderAddedCannotBeCalledRemotely::~LoaderAddedCannotBeCalledRemotely() = default;
LoadingUserSettingsRemotelyIsNotSupported::~LoadingUserSettingsRemotelyIsNotSupported() = default;
MultipleSetShouldNotBeCalledRemotely::~MultipleSetShouldNotBeCalledRemotely() = default;
MultipleValidateShouldNotBeCalledRemotely::~MultipleValidateShouldNotBeCalledRemotely() = default;
ParentSettingsGroupNotFound::~ParentSettingsGroupNotFound() = default;
SettingParentRemotelyNotSupported::~SettingParentRemotelyNotSupported() = default;
SettingValidatorRemotelyNotSupported::~SettingValidatorRemotelyNotSupported() = default;
SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray::~SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray() =
    default;
SettingsCannotBeConstructedRemotely::~SettingsCannotBeConstructedRemotely() = default;
ValidatingSettingValuesRemotelyNotSupported::~ValidatingSettingValuesRemotelyNotSupported() = default;
RemoteNodesDoNotSynchronizeWithVCOSTree::~RemoteNodesDoNotSynchronizeWithVCOSTree() = default;

} // namespace settings::core::exception
