#include "settingscore/validation/ValueShapes.hpp"

#include "settingscore/exception/ValidationFailures.hpp"

namespace settings::core {

using boost::shared_ptr;
using detail::CheckFunction;
using varnek::data::Array;
using varnek::data::TypeCode;

namespace {

void checkScalar(const shared_ptr<const Settings>& setting, const shared_ptr<Settings>& parent,
                 const Array& value) {
    if (value.type() != TypeCode::character && value.numberOfElements() != 1)
        throw exception::ValueMustBeScalar(setting, parent);
}

} // namespace

void MustBeScalar::addValidators(std::vector<CheckFunction>& checks) const {
    checks.emplace_back(&checkScalar);
}

void MustBeScalar::addConverter(detail::Converter&) const {}

void MustBeVector::addValidators(std::vector<CheckFunction>& checks) const {
    const std::uint64_t minimum = getMinNumberOfElements().value_or(0);
    const std::uint64_t maximum = getMaxNumberOfElements().value_or(0);
    checks.emplace_back([minimum, maximum](const shared_ptr<const Settings>& setting,
                                           const shared_ptr<Settings>& parent, const Array& value) {
        const std::uint64_t count = value.type() == TypeCode::character ? 1 : value.numberOfElements();
        const bool hasShape = value.numberOfElements() == 0 || value.isRowOrColumn();
        if (!hasShape || (minimum != 0 && count < minimum) || (maximum != 0 && count > maximum))
            throw exception::DataArraySizeOutOfRange(setting, parent, minimum, maximum, count);
    });
}

void MustBeVector::addConverter(detail::Converter&) const {}

void AnyShape::addValidators(std::vector<CheckFunction>&) const {}

void AnyShape::addConverter(detail::Converter&) const {}

} // namespace settings::core
