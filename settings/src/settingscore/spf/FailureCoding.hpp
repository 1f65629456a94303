/// Failures on their way between processes: the type's name and the fields from which it is made again.
#pragma once

#include "settingscore/exception/SettingsException.hpp"
#include "spf/RemoteError.hpp"

#include <exception>
#include <string>
#include <vector>

namespace settings::spf {

/// Turns the handles in a failure into what crosses, and back into handles of the other side.
class HandleCoding {
  public:
    virtual ~HandleCoding() = default;
    virtual varnek::spf::Value toValue(const core::exception::ObjectHandle& handle) const = 0;
    /// RemoteError of kind malformed.
    virtual boost::shared_ptr<core::Settings> toHandle(const varnek::spf::Value& value) const = 0;
};

/// Raises the failure as a ProviderFailure that names its type; returns when it is none of the catalogue.
void raiseForCaller(const std::exception& failure, const HandleCoding& handles);

/// Raises the failure as its own type; returns when the type is not known here, or its fields are not those
/// of the type.
void raiseAsItsType(const varnek::spf::ProviderFailure& failure, const HandleCoding& handles);

/// The names of the types that cross, for tests.
std::vector<std::string> failureTypes();

} // namespace settings::spf
