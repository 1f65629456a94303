/// The two kinds of callable that a declarative validator is made of.
#pragma once

#include "varnek/data/Array.hpp"

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

namespace settings::core {

class Settings;

namespace detail {

/// (the setting, its group, the value); refuses the value by throwing an exception::ValidationException that
/// names both. Either handle may be empty.
using CheckFunction =
    boost::function<void(const boost::shared_ptr<const Settings>& setting,
                         const boost::shared_ptr<Settings>& parent, const varnek::data::Array& value)>;

/// The form in which an accepted value is stored. May refuse the value after all, by an
/// exception::ValueMustBeInteger; who calls it adds the setting and its group.
using Converter = boost::function<varnek::data::Array(const varnek::data::Array& value)>;

} // namespace detail
} // namespace settings::core
