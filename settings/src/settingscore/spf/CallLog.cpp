#include "settingscore/spf/CallLog.hpp"

#include "settingscore/spf/SpfLog.hpp"

#include <exception>

namespace settings::spf {

using varnek::log::Severity;

bool isLoggingCalls() noexcept {
    return spfLog.enabled(Severity::debug);
}

namespace {

void write(const char* what, const std::string& method, const Value& result, const Value::List& arguments,
           const std::exception* failure) noexcept {
    if (!isLoggingCalls())
        return;
    try {
        std::string line = what;
        try {
            line += varnek::spf::Call{method, result, arguments}.toString();
        } catch (const std::exception& notShown) {
            line += method + " cannot be shown: " + notShown.what();
        }
        if (failure != nullptr)
            line += std::string(" failed: ") + failure->what();
        spfLog.write(Severity::debug, line);
    } catch (const std::exception&) { // there is no memory for the line
    }
}

} // namespace

void logCall(const char* what, const std::string& method, const Value& result,
             const Value::List& arguments) noexcept {
    write(what, method, result, arguments, nullptr);
}

void logFailedCall(const char* what, const std::string& method, const std::exception& failure,
                   const Value::List& arguments) noexcept {
    write(what, method, {}, arguments, &failure);
}

} // namespace settings::spf
