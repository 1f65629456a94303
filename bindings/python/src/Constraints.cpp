#include "Constraints.hpp"

#include "Texts.hpp"

#include <vector>

namespace py = pybind11;

namespace settings::python {

using core::AnyShape;
using core::MustBeScalar;
using core::MustBeVector;
using core::NumericMetaData;
using core::StringMetaData;
using Validators = core::detail::FactorySettingProperties::MultiCheckValueValidators;

namespace {

/// Calls `make` with the shape of the value: one, a row, a matrix.
template <template <class> class Kind, class Fill>
Validators ofShape(const ShapedValue& value, Fill fill) {
    const auto made = [&](auto kind) {
        fill(kind);
        return Validators{kind};
    };
    const auto extents = value.array.dimensions();
    const bool isRow = extents.size() == 2 && extents[0] <= 1;
    if (value.array.isVoid() || (value.isVector && !isRow))
        return made(Kind<AnyShape>());
    return value.isVector ? made(Kind<MustBeVector>()) : made(Kind<MustBeScalar>());
}

std::vector<std::u16string> texts(const py::object& choices) {
    std::vector<std::u16string> all;
    for (const py::handle choice : choices) {
        if (!py::isinstance<py::str>(choice))
            throw py::type_error("choices are texts");
        all.push_back(utf16(choice));
    }
    return all;
}

} // namespace

Validators constraints(const ShapedValue& value, const ConstraintKeywords& keywords) {
    const bool isNumeric = !keywords.minimum.is_none() || !keywords.maximum.is_none() || keywords.integer;
    if (isNumeric && !keywords.choices.is_none())
        throw py::type_error("choices go with texts; minimum, maximum and integer with numbers");
    if (isNumeric)
        return ofShape<NumericMetaData>(value, [&](auto& numbers) {
            if (!keywords.minimum.is_none())
                numbers.setMinValue(keywords.minimum.cast<double>());
            if (!keywords.maximum.is_none())
                numbers.setMaxValue(keywords.maximum.cast<double>());
            if (keywords.integer)
                numbers.mustBeInteger();
        });
    if (keywords.choices.is_none())
        return {};
    return ofShape<StringMetaData>(value, [&](auto& text) { text.mustBeMember(texts(keywords.choices)); });
}

} // namespace settings::python
