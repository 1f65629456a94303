/// Calls of validation functions whose failures are the caller's.
#pragma once

#include "settingscore/validation/ForeignCall.hpp"
#include "settingscore/validation/FunctionName.hpp"
#include "settingscore/validation/ValidationLog.hpp"

#include <exception>

namespace settings::core::detail {

/// Calls `call`. What it throws is logged and reaches the caller unchanged.
template <class Call>
void callLogged(const FunctionName& function, const Call& call) {
    const auto logReason = [&](const char* reason) {
        VARNEK_LOG(validationLog, warning)
            << "Validation function throw. Reason: " << reason << " libname=" << function.getPackageName()
            << " function=" << function.getFunctionName();
    };
    const auto logged = [&] {
        try {
            call();
        } catch (const std::exception& failure) {
            logReason(failure.what());
            throw;
        }
    };
    callForeign(logged, [&] {
        logReason("Unknown Exception");
        throw;
    });
}

} // namespace settings::core::detail
