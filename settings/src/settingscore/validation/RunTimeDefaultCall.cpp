#include "settingscore/validation/RunTimeDefaultCall.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/exception/FunctionFailures.hpp"
#include "settingscore/validation/FailureReason.hpp"
#include "settingscore/validation/ValidationLog.hpp"

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/static_visitor.hpp>

namespace settings::core::detail {

namespace {

using Result = std::optional<std::pair<varnek::data::Array, bool>>;

struct Evaluation : boost::static_visitor<Result> {
    Result operator()(boost::blank) const { return std::nullopt; }
    template <class Function>
    Result operator()(const Function& function) const {
        try {
            return valueOf(function);
        } catch (const std::exception& failure) {
            VARNEK_LOG(validationLog, warning)
                << "Run-time default throw. Reason: " << reasonOf(failure)
                << " package=" << function.getPackageName() << " function=" << function.getFunctionName();
            throw;
        }
    }

    static Result valueOf(const CRunTimeDefault& function) { return withFlag(function.evaluate()); }
    static Result valueOf(const MRunTimeDefault& function) { return withFlag(function()); }
    static Result valueOf(const JRunTimeDefault& function) {
        return settingscore::boostany::toArray(function());
    }
    static Result withFlag(varnek::data::Array array) {
        const bool isVector = !array.isVoid() && settingscore::boostany::isVectorShape(array);
        return std::make_pair(std::move(array), isVector);
    }
};

} // namespace

Result evaluate(const RunTimeDefaultVariant& function) {
    return boost::apply_visitor(Evaluation(), function);
}

RunTimeDefaultVariant mergeRunTimeDefault(const RunTimeDefaultVariant& existing,
                                          const RunTimeDefaultVariant& incoming,
                                          const boost::shared_ptr<const Settings>& setting) {
    if (incoming.which() == 0)
        return existing;
    if (existing.which() != 0)
        throw exception::MultipleRuntimeFuncError(setting);
    return incoming;
}

} // namespace settings::core::detail
