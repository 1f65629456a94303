/// Operations that a node of another process refuses. Each text names the node; there are no other fields.
///
/// The constructors take their names in the order in which the text shows them.
#pragma once

#include "settingscore/exception/FailureShapes.hpp"

#include <string>

namespace settings::core::exception {

/// Adding a setting.
class SETTINGSCORE_EXPORT AddingSettingRemotelyIsNotSupported
    : public Cloneable<AddingSettingRemotelyIsNotSupported, detail::BuiltTextFailure> {
  public:
    explicit AddingSettingRemotelyIsNotSupported(const std::string& node);
    ~AddingSettingRemotelyIsNotSupported() override;
};

/// Adding a group.
class SETTINGSCORE_EXPORT AddingSettingsGroupRemotelyIsNotSupported
    : public Cloneable<AddingSettingsGroupRemotelyIsNotSupported, detail::BuiltTextFailure> {
  public:
    explicit AddingSettingsGroupRemotelyIsNotSupported(const std::string& node);
    ~AddingSettingsGroupRemotelyIsNotSupported() override;
};

/// Asking whether the node is connected to the settings tree.
class SETTINGSCORE_EXPORT ConnectionToSettingsTreeCannotBeCheckedRemotely
    : public Cloneable<ConnectionToSettingsTreeCannotBeCheckedRemotely, detail::BuiltTextFailure> {
  public:
    explicit ConnectionToSettingsTreeCannotBeCheckedRemotely(const std::string& node);
    ~ConnectionToSettingsTreeCannotBeCheckedRemotely() override;
};

/// Asking for the node's own object; its text is that of the connection check.
class SETTINGSCORE_EXPORT GetThisObjectImplCannotBeCalledRemotely
    : public Cloneable<GetThisObjectImplCannotBeCalledRemotely, detail::BuiltTextFailure> {
  public:
    explicit GetThisObjectImplCannotBeCalledRemotely(const std::string& node);
    ~GetThisObjectImplCannotBeCalledRemotely() override;
};

/// Asking for a setting's type.
class SETTINGSCORE_EXPORT DataTypeIndexCannotBeRetrievedRemotely
    : public Cloneable<DataTypeIndexCannotBeRetrievedRemotely, detail::BuiltTextFailure> {
  public:
    explicit DataTypeIndexCannotBeRetrievedRemotely(const std::string& node);
    ~DataTypeIndexCannotBeRetrievedRemotely() override;
};

/// Registering a factory file.
class SETTINGSCORE_EXPORT FactoryFileCannotBeRegisteredRemotely
    : public Cloneable<FactoryFileCannotBeRegisteredRemotely, detail::BuiltTextFailure> {
  public:
    FactoryFileCannotBeRegisteredRemotely(const std::string& file, const std::string& folder,
                                          const std::string& node);
    ~FactoryFileCannotBeRegisteredRemotely() override;
};

/// Reading a factory file again.
class SETTINGSCORE_EXPORT FactoryFileCannotBeReloadedRemotely
    : public Cloneable<FactoryFileCannotBeReloadedRemotely, detail::BuiltTextFailure> {
  public:
    FactoryFileCannotBeReloadedRemotely(const std::string& file, const std::string& node);
    ~FactoryFileCannotBeReloadedRemotely() override;
};

/// Writing a factory file.
class SETTINGSCORE_EXPORT FactoryFileCannotBeWrittenRemotely
    : public Cloneable<FactoryFileCannotBeWrittenRemotely, detail::BuiltTextFailure> {
  public:
    FactoryFileCannotBeWrittenRemotely(const std::string& file, const std::string& node);
    ~FactoryFileCannotBeWrittenRemotely() override;
};

/// Asking for the tree's index.
class SETTINGSCORE_EXPORT GetRootIndexShouldNotBeCalledRemotely
    : public Cloneable<GetRootIndexShouldNotBeCalledRemotely, detail::BuiltTextFailure> {
  public:
    explicit GetRootIndexShouldNotBeCalledRemotely(const std::string& node);
    ~GetRootIndexShouldNotBeCalledRemotely() override;
};

/// Merging settings into the node.
class SETTINGSCORE_EXPORT MergeDescendantsShouldNotBeCalledRemotely
    : public Cloneable<MergeDescendantsShouldNotBeCalledRemotely, detail::BuiltTextFailure> {
  public:
    explicit MergeDescendantsShouldNotBeCalledRemotely(const std::string& node);
    ~MergeDescendantsShouldNotBeCalledRemotely() override;
};

/// Asking for the version number.
class SETTINGSCORE_EXPORT GettingVersionNumberRemotelyNotSupported
    : public Cloneable<GettingVersionNumberRemotelyNotSupported, detail::BuiltTextFailure> {
  public:
    explicit GettingVersionNumberRemotelyNotSupported(const std::string& node);
    ~GettingVersionNumberRemotelyNotSupported() override;
};

/// Telling the node of a loader.
class SETTINGSCORE_EXPORT LoaderAddedCannotBeCalledRemotely
    : public Cloneable<LoaderAddedCannotBeCalledRemotely, detail::BuiltTextFailure> {
  public:
    explicit LoaderAddedCannotBeCalledRemotely(const std::string& node);
    ~LoaderAddedCannotBeCalledRemotely() override;
};

/// Loading the personal values.
class SETTINGSCORE_EXPORT LoadingUserSettingsRemotelyIsNotSupported
    : public Cloneable<LoadingUserSettingsRemotelyIsNotSupported, detail::BuiltTextFailure> {
  public:
    explicit LoadingUserSettingsRemotelyIsNotSupported(const std::string& node);
    ~LoadingUserSettingsRemotelyIsNotSupported() override;
};

/// Setting several values at once; its text is that of loading the personal values.
class SETTINGSCORE_EXPORT MultipleSetShouldNotBeCalledRemotely
    : public Cloneable<MultipleSetShouldNotBeCalledRemotely, detail::BuiltTextFailure> {
  public:
    explicit MultipleSetShouldNotBeCalledRemotely(const std::string& node);
    ~MultipleSetShouldNotBeCalledRemotely() override;
};

/// Validating several values at once; its text is that of loading the personal values.
class SETTINGSCORE_EXPORT MultipleValidateShouldNotBeCalledRemotely
    : public Cloneable<MultipleValidateShouldNotBeCalledRemotely, detail::BuiltTextFailure> {
  public:
    explicit MultipleValidateShouldNotBeCalledRemotely(const std::string& node);
    ~MultipleValidateShouldNotBeCalledRemotely() override;
};

/// The group that another process asks for is not here.
class SETTINGSCORE_EXPORT ParentSettingsGroupNotFound
    : public Cloneable<ParentSettingsGroupNotFound, detail::BuiltTextFailure> {
  public:
    explicit ParentSettingsGroupNotFound(const std::string& name);
    ~ParentSettingsGroupNotFound() override;
};

/// Giving the node another parent.
class SETTINGSCORE_EXPORT SettingParentRemotelyNotSupported
    : public Cloneable<SettingParentRemotelyNotSupported, detail::BuiltTextFailure> {
  public:
    explicit SettingParentRemotelyNotSupported(const std::string& node);
    ~SettingParentRemotelyNotSupported() override;
};

/// Giving a setting a validator.
class SETTINGSCORE_EXPORT SettingValidatorRemotelyNotSupported
    : public Cloneable<SettingValidatorRemotelyNotSupported, detail::BuiltTextFailure> {
  public:
    explicit SettingValidatorRemotelyNotSupported(const std::string& node);
    ~SettingValidatorRemotelyNotSupported() override;
};

/// Reading a value other than as a data array.
class SETTINGSCORE_EXPORT SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray
    : public Cloneable<SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray, detail::BuiltTextFailure> {
  public:
    SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray(const std::string& key, const std::string& path);
    ~SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray() override;
};

/// Making a setting object.
class SETTINGSCORE_EXPORT SettingsCannotBeConstructedRemotely
    : public Cloneable<SettingsCannotBeConstructedRemotely, detail::BuiltTextFailure> {
  public:
    SettingsCannotBeConstructedRemotely(const std::string& key, const std::string& node);
    ~SettingsCannotBeConstructedRemotely() override;
};

/// Validating values.
class SETTINGSCORE_EXPORT ValidatingSettingValuesRemotelyNotSupported
    : public Cloneable<ValidatingSettingValuesRemotelyNotSupported, detail::BuiltTextFailure> {
  public:
    explicit ValidatingSettingValuesRemotelyNotSupported(const std::string& node);
    ~ValidatingSettingValuesRemotelyNotSupported() override;
};

/// Keeping the node in step with the language's tree.
class SETTINGSCORE_EXPORT RemoteNodesDoNotSynchronizeWithVCOSTree
    : public Cloneable<RemoteNodesDoNotSynchronizeWithVCOSTree, detail::BuiltTextFailure> {
  public:
    explicit RemoteNodesDoNotSynchronizeWithVCOSTree(const std::string& node);
    ~RemoteNodesDoNotSynchronizeWithVCOSTree() override;
};

} // namespace settings::core::exception
