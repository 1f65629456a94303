// What a remote node refuses, each operation with its own exception.

#include "settingscore/exception/RemoteFailures.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "varnek/files/PathText.hpp"

namespace settings::spf {

using namespace core::exception;
using varnek::data::Array;
using varnek::files::messageUtf8;

// ---- values ----

ShapedArray SettingsRemoteImpl::getAny(std::string_view name, std::string_view) const {
    throw SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray(std::string(name), getFullName(false, "."));
}

boost::optional<std::uint64_t> SettingsRemoteImpl::getDataTypeIndex(std::string_view) const {
    throw DataTypeIndexCannotBeRetrievedRemotely(name_);
}

void SettingsRemoteImpl::setValue(std::string_view, const Array&, bool, std::string_view) {
    throw MultipleSetShouldNotBeCalledRemotely(name_);
}

std::vector<core::detail::Failure> SettingsRemoteImpl::multipleSet(std::span<const core::detail::NodeValue>,
                                                                   std::string_view, bool) {
    throw MultipleSetShouldNotBeCalledRemotely(name_);
}

std::vector<core::detail::Failure>
SettingsRemoteImpl::multipleValidate(std::span<const core::detail::NodeValue>, bool) const {
    throw MultipleValidateShouldNotBeCalledRemotely(name_);
}

void SettingsRemoteImpl::validate() const {
    throw ValidatingSettingValuesRemotelyNotSupported(name_);
}

void SettingsRemoteImpl::mergeDescendants(const ConstNodePtr&, std::string_view) {
    throw MergeDescendantsShouldNotBeCalledRemotely(name_);
}

// ---- the tree ----

NodePtr SettingsRemoteImpl::addSetting(std::string_view, const FactorySettingProperties&, std::string_view) {
    throw AddingSettingRemotelyIsNotSupported(name_);
}

NodePtr SettingsRemoteImpl::addGroup(std::string_view, const FactorySettingProperties&, std::string_view) {
    throw AddingSettingsGroupRemotelyIsNotSupported(name_);
}

void SettingsRemoteImpl::adoptChildren(std::vector<NodePtr>) {
    throw AddingSettingsGroupRemotelyIsNotSupported(name_);
}

bool SettingsRemoteImpl::isConnectedToTheSettingsTree() const {
    throw ConnectionToSettingsTreeCannotBeCheckedRemotely(name_);
}

RootIndex SettingsRemoteImpl::getRootIndex() const {
    throw GetRootIndexShouldNotBeCalledRemotely(name_);
}

boost::shared_ptr<const Settings> SettingsRemoteImpl::getThisObjectImpl() const {
    throw GetThisObjectImplCannotBeCalledRemotely(name_);
}

// ---- definitions ----

boost::optional<std::uint32_t> SettingsRemoteImpl::getVersionNumber() const {
    throw GettingVersionNumberRemotelyNotSupported(name_);
}

void SettingsRemoteImpl::setValidator(const ValidatorVariant&) {
    throw SettingValidatorRemotelyNotSupported(name_);
}

NodePtr SettingsRemoteImpl::createFactorySetting(std::string_view name, const FactorySettingProperties&,
                                                 bool) {
    throw SettingsCannotBeConstructedRemotely(std::string(name), name_);
}

FactorySettingProperties SettingsRemoteImpl::definition() const {
    throw SettingsCannotBeConstructedRemotely(name_, name_);
}

void SettingsRemoteImpl::setAttributes(varnek::json::Object) {
    throw SettingsCannotBeConstructedRemotely(name_, name_);
}

// ---- factory files ----

void SettingsRemoteImpl::reloadFactoryFile(std::string_view name) {
    throw FactoryFileCannotBeReloadedRemotely(std::string(name), name_);
}

void SettingsRemoteImpl::registerFactoryFile(const std::u16string& file, const std::u16string& folder,
                                             const std::vector<UpgraderRecord>&, bool, std::string_view) {
    throw FactoryFileCannotBeRegisteredRemotely(messageUtf8(file), messageUtf8(folder), name_);
}

void SettingsRemoteImpl::writeFactoryFile(const std::u16string& file, const std::vector<UpgraderRecord>&) {
    throw FactoryFileCannotBeWrittenRemotely(messageUtf8(file), name_);
}

void SettingsRemoteImpl::loaderAdded(std::string_view) {
    throw LoaderAddedCannotBeCalledRemotely(name_);
}

} // namespace settings::spf
