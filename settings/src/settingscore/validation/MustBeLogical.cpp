#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ElementVisit.hpp"
#include "settingscore/validation/ValueKinds.hpp"

#include <algorithm>

namespace settings::core {

using boost::shared_ptr;
using varnek::data::Array;
using varnek::data::TypeCode;

namespace {

void checkLogical(const shared_ptr<const Settings>& setting, const shared_ptr<Settings>& parent,
                  const Array& value) {
    if (value.type() == TypeCode::logical)
        return;
    bool passes = true;
    const bool isNumeric = detail::visitNumbers(value, [&]<class T>(std::span<const T> elements) {
        passes = detail::firstFailing(
                     elements, [](T element) { return element == T{0} || element == T{1}; }) == nullptr;
    });
    if (!isNumeric || !passes)
        throw exception::ValueMustBeLogical(setting, parent);
}

Array asLogical(const Array& value) {
    Array converted = value;
    detail::visitNumbers(value, [&]<class T>(std::span<const T> elements) {
        std::vector<bool> logical(elements.size());
        std::transform(elements.begin(), elements.end(), logical.begin(),
                       [](T element) { return element != T{0}; });
        const auto extents = value.dimensions();
        converted = Array::make<bool>({extents.begin(), extents.end()}, std::move(logical));
    });
    return converted;
}

} // namespace

template <class Shape>
void MustBeLogical<Shape>::addValidators(std::vector<detail::CheckFunction>& checks) const {
    Shape::addValidators(checks);
    checks.emplace_back(&checkLogical);
}

template <class Shape>
void MustBeLogical<Shape>::addConverter(detail::Converter& converter) const {
    converter = &asLogical;
}

template class MustBeLogical<MustBeScalar>;
template class MustBeLogical<MustBeVector>;
template class MustBeLogical<AnyShape>;

} // namespace settings::core
