#include "settingscore/exception/FunctionFailures.hpp"

#include <utility>

namespace settings::core::exception {

RuntimeFuncErrorConvertingVxArrayToAny::RuntimeFuncErrorConvertingVxArrayToAny(
    std::string packageName, std::string functionName, const std::type_info& valueType)
    : Cloneable(std::move(packageName), std::move(functionName)), valueType_(valueType) {}

const char* InvalidValidator::what() const noexcept {
    return "Could not find and execute the validator function. The request to add the setting is not "
           "successful.";
}
const char* MultipleRuntimeFuncError::what() const noexcept {
    return "There are multiple runtime function defined on this key. This is not allowed.";
}
const char* RunTimeFuncInvokingError::what() const noexcept {
    return "Error invoking runtime function. Please refer to error message for detail.";
}
const char* RuntimeFuncErrorConvertingVxArrayToAny::what() const noexcept {
    return "The runtime function returns an vxArray that is not convertible to a supported type.";
}
const char* ValidationFunctionInvokingError::what() const noexcept {
    return "Error invoking validation function. Please refer to error message for detail.";
}

} // namespace settings::core::exception
