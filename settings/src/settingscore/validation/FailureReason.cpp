#include "settingscore/validation/FailureReason.hpp"

#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/exception/MessageText.hpp"
#include "settingscore/exception/ValidationFailures.hpp"

namespace settings::core::detail {

namespace {

std::u16string causeOf(const std::exception& failure) {
    if (const auto* call = dynamic_cast<const exception::detail::FunctionCallFailure*>(&failure))
        return call->getCause();
    if (const auto* refusal = dynamic_cast<const exception::ExceptionFromValidationFunction*>(&failure))
        return refusal->getCause();
    if (const auto* library = dynamic_cast<const exception::ErrorLoadingLibrary*>(&failure))
        return library->getSystemMessage();
    return {};
}

} // namespace

std::string reasonOf(const std::exception& failure) {
    const std::string cause = exception::detail::utf8(causeOf(failure));
    return cause.empty() ? failure.what() : failure.what() + (" (" + cause + ")");
}

} // namespace settings::core::detail
