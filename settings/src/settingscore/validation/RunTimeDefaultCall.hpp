/// The run-time default of a setting, whichever world it lives in.
#pragma once

#include "settingscore/validation/RunTimeDefaults.hpp"
#include "varnek/data/Array.hpp"

#include <boost/shared_ptr.hpp>

#include <optional>
#include <utility>

namespace settings::core {

class Settings;

namespace detail {

/// What the function gives now, with its vector flag: set for all but one element and one text.
/// Nothing when there is no function. Raises what the classes of RunTimeDefaults.hpp raise, and
/// settingscore::boostany::UnsupportedAnyType for a generic value of another type; standard exceptions are
/// logged. The value is not validated and may be void. To be called without locks: runs foreign code.
std::optional<std::pair<varnek::data::Array, bool>> evaluate(const RunTimeDefaultVariant& function);

/// The run-time default of a setting that is defined again. exception::MultipleRuntimeFuncError, naming the
/// setting, when both definitions have one.
RunTimeDefaultVariant mergeRunTimeDefault(const RunTimeDefaultVariant& existing,
                                          const RunTimeDefaultVariant& incoming,
                                          const boost::shared_ptr<const Settings>& setting);

} // namespace detail
} // namespace settings::core
