#include "settingscore/validation/ValidationRun.hpp"

#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ForeignCall.hpp"
#include "settingscore/validation/ValidationLog.hpp"

#include <exception>
#include <optional>

namespace settings::core::detail {

using exception::ValidationErrorCode;
using varnek::data::Array;

namespace {

/// Asks for the name when it is first needed.
class NameOnDemand {
  public:
    explicit NameOnDemand(const std::function<std::string()>& source) : source_(source) {}

    const std::string& get() {
        if (!name_)
            name_ = source_();
        return *name_;
    }

  private:
    const std::function<std::string()>& source_;
    std::optional<std::string> name_;
};

std::string listed(const std::vector<ValidationErrorCode>& codes) {
    std::string text;
    for (const ValidationErrorCode code : codes)
        text += " " + std::to_string(static_cast<std::int32_t>(code));
    return text;
}

void callErrorHandler(const FactorySettingProperties::ErrorHandler& handler, NameOnDemand& name,
                      const Array& value) {
    VARNEK_LOG(validationLog, info) << name.get() << " call user-defined error handler.";
    const auto call = [&] {
        try {
            handler(name.get(), value);
        } catch (const std::exception& failure) {
            VARNEK_LOG(validationLog, warning) << name.get() << " error handler throw: " << failure.what();
        }
    };
    callInterruptibly(call, [&] {
        VARNEK_LOG(validationLog, warning) << name.get() << " error handler throw: Unknown Exception";
    });
}

} // namespace

void runValidators(const std::vector<SettingValueValidator>& validators,
                   const FactorySettingProperties::ErrorHandler& errorHandler,
                   const boost::shared_ptr<const Settings>& setting,
                   const boost::shared_ptr<Settings>& parent, const std::function<std::string()>& fullName,
                   Array& value) {
    if (validators.empty())
        return;
    NameOnDemand name(fullName);
    VARNEK_LOG(validationLog, info) << "Validate setting: " << name.get() << " with " << validators.size()
                                    << " validators.";
    std::vector<ValidationErrorCode> errorCodes;
    std::exception_ptr lastRefusal;
    std::size_t remaining = validators.size();
    for (const SettingValueValidator& validator : validators) {
        --remaining;
        try {
            validator.validateValue(setting, parent, value);
            VARNEK_LOG(validationLog, info)
                << name.get() << " break out of validators with " << remaining << " validators remaining.";
            return;
        } catch (const exception::ValidationException& refusal) {
            errorCodes.push_back(refusal.getErrorCode());
            VARNEK_LOG(validationLog, info) << name.get() << " errored with " << refusal.what() << ": "
                                            << remaining << " validators remaining.";
            if (remaining == 0)
                lastRefusal = std::current_exception();
        }
    }
    VARNEK_LOG(validationLog, info) << "Validate setting: " << name.get() << "- no more validators.";
    VARNEK_LOG(validationLog, debug) << name.get() << " error codes:" << listed(errorCodes);
    if (!errorHandler.empty()) // not while the refusal is handled: nobody could end the thread then
        callErrorHandler(errorHandler, name, value);
    std::rethrow_exception(lastRefusal);
}

} // namespace settings::core::detail
