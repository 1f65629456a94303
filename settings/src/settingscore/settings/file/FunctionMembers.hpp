/// The members of a group or setting object that name functions: its validation function and its run-time
/// default.
///
/// | member                    | meaning                                                                    |
/// |---------------------------|----------------------------------------------------------------------------|
/// | "language", "packageName" | where the functions live: "VARNEK", "C", "JAVA" or "CPP", and the package |
/// | "validationFcn"           | the validation function                                                    |
/// | "runtimeDefaultFcn"       | the run-time default                                                       |
/// | "functionName"            | the first of the two that there is; alone it is the validation function    |
///
/// A run-time default that lives elsewhere than the validation function is written with its place:
/// "language:package:function", with ":" and "%" in the package percent-encoded. Functions are thread-safe.
#pragma once

#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/RunTimeDefaults.hpp"
#include "json/Value.hpp"

#include <functional>
#include <string>

namespace settings::core::detail {

/// Takes (JSON path of the member, the rule it breaks).
using FaultSink = std::function<void(const std::string& path, const std::string& rule)>;

struct FunctionMembers {
    ValidatorVariant validator;
    RunTimeDefaultVariant runTimeDefault;

    bool isEmpty() const noexcept { return validator.which() == 0 && runTimeDefault.which() == 0; }
};

/// Reads the members of `object`, which stands at `path`. Every fault goes to the sink, and what is at fault
/// is left out.
FunctionMembers readFunctionMembers(const varnek::json::Object& object, const std::string& path,
                                    const FaultSink& fault);

/// Whether there is any of the members; a "language" alone names no function and does not count.
bool hasFunctionMembers(const varnek::json::Object& object) noexcept;

/// Adds the members to `object`; none when there is no function.
void writeFunctionMembers(const FunctionMembers& functions, varnek::json::Object& object);

/// The language of a validation function: "VARNEK", "C", "JAVA", "CPP", or "" when there is none.
std::string languageOf(const ValidatorVariant& validator);

} // namespace settings::core::detail
