#include "settingscore/exception/SettingsException.hpp"

#include "settingscore/exception/FailureShapes.hpp"

#include <utility>

namespace settings::core {

SettingsException::SettingsException(std::string msgId, std::string message, std::string exceptionKey)
    : msgId_(std::move(msgId)), message_(std::move(message)), exceptionKey_(std::move(exceptionKey)) {}

const char* SettingsException::what() const noexcept {
    return message_->c_str();
}
std::string SettingsException::msgId() const {
    return *msgId_;
}
std::string SettingsException::exceptionKey() const {
    return *exceptionKey_;
}

namespace exception {

SettingsException::~SettingsException() = default;

namespace detail {

ObjectFailure::ObjectFailure(ObjectHandle object) : object_(std::move(object)) {}
ObjectFailure::~ObjectFailure() = default;

NamedObjectFailure::NamedObjectFailure(ObjectHandle object, std::string inputName)
    : ObjectFailure(std::move(object)), inputName_(std::move(inputName)) {}
NamedObjectFailure::~NamedObjectFailure() = default;

CausingObjectFailure::CausingObjectFailure(ObjectHandle causingObject)
    : causingObject_(std::move(causingObject)) {}
CausingObjectFailure::~CausingObjectFailure() = default;

FunctionFailure::FunctionFailure(std::string packageName, std::string functionName)
    : packageName_(std::move(packageName)), functionName_(std::move(functionName)) {}
FunctionFailure::~FunctionFailure() = default;

FunctionCallFailure::FunctionCallFailure(std::string packageName, std::string functionName,
                                         std::u16string cause)
    : FunctionFailure(std::move(packageName), std::move(functionName)), cause_(std::move(cause)) {}
FunctionCallFailure::~FunctionCallFailure() = default;

BuiltTextFailure::BuiltTextFailure(std::string text) : text_(std::move(text)) {}
BuiltTextFailure::~BuiltTextFailure() = default;
const char* BuiltTextFailure::what() const noexcept {
    return text_->c_str();
}

} // namespace detail
} // namespace exception
} // namespace settings::core
