#include "settingscore/spf/CallLog.hpp"

#include "settingscore/spf/SpfLog.hpp"

#include <exception>

namespace settings::spf {

using varnek::log::Severity;

bool isLoggingCalls() noexcept {
    return spfLog.enabled(Severity::debug);
}

void logCall(const char* what, const std::string& method, const Value& result,
             const Value::List& arguments) noexcept {
    if (!isLoggingCalls())
        return;
    try {
        try {
            spfLog.write(Severity::debug, what + varnek::spf::Call{method, result, arguments}.toString());
        } catch (const std::exception& failure) {
            spfLog.write(Severity::debug, what + method + " cannot be shown: " + failure.what());
        }
    } catch (const std::exception&) { // there is no memory for the line
    }
}

} // namespace settings::spf
