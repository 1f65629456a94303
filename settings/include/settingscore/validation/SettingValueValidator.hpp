/// The declarative checks of a setting's values.
#pragma once

#include "settingscore/validation/ValueKinds.hpp"

#include <boost/variant/variant.hpp>

namespace settings::core {

/// Checks one value. A setting may have several validators: a value is accepted when one of them accepts it.
class SettingValueValidator {
  public:
    /// What one validator asks for: a kind over a shape. Copied and compared as a value.
    using ConfigData =
        boost::variant<NumericMetaData<MustBeScalar>, NumericMetaData<MustBeVector>,
                       NumericMetaData<AnyShape>, StringMetaData<MustBeScalar>, StringMetaData<MustBeVector>,
                       StringMetaData<AnyShape>, MustBeLogical<MustBeScalar>, MustBeLogical<MustBeVector>,
                       MustBeLogical<AnyShape>>;
};

} // namespace settings::core
