/// The declarative checks of a setting's values.
#pragma once

#include "settingscore/Export.hpp"
#include "settingscore/validation/CheckFunction.hpp"
#include "settingscore/validation/ValueKinds.hpp"
#include "varnek/data/Array.hpp"

#include <boost/shared_ptr.hpp>
#include <boost/variant/variant.hpp>

#include <vector>

namespace settings::core {

/// Checks one value. A setting may have several validators: a value is accepted when one of them accepts it.
///
/// A value: copyable, immutable, and used from any threads.
class SETTINGSCORE_EXPORT SettingValueValidator {
  public:
    /// What one validator asks for: a kind over a shape. Copied and compared as a value.
    using ConfigData =
        boost::variant<NumericMetaData<MustBeScalar>, NumericMetaData<MustBeVector>,
                       NumericMetaData<AnyShape>, StringMetaData<MustBeScalar>, StringMetaData<MustBeVector>,
                       StringMetaData<AnyShape>, MustBeLogical<MustBeScalar>, MustBeLogical<MustBeVector>,
                       MustBeLogical<AnyShape>>;
    using CheckFunction = detail::CheckFunction;
    using Converter = detail::Converter;

    /// Builds the checks, once.
    explicit SettingValueValidator(const ConfigData& config);
    /// An empty converter converts nothing.
    explicit SettingValueValidator(std::vector<CheckFunction> checks, Converter converter = {});
    SettingValueValidator(const SettingValueValidator&);
    SettingValueValidator(SettingValueValidator&&) noexcept;
    SettingValueValidator& operator=(const SettingValueValidator&);
    SettingValueValidator& operator=(SettingValueValidator&&) noexcept;
    ~SettingValueValidator();

    /// Calls every check in order; the first that throws ends the call with that exception. When all pass,
    /// `value` takes the form in which it is stored. A refused value stays as it was. A numeric value of n
    /// elements takes one pass per check and no allocation, unless it is converted. boost::bad_function_call
    /// for an empty check.
    void validateValue(const boost::shared_ptr<const Settings>& setting,
                       const boost::shared_ptr<Settings>& parent, varnek::data::Array& value) const;

  private:
    std::vector<CheckFunction> checks_;
    Converter converter_;
};

} // namespace settings::core
