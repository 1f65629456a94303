#include "settingscore/exception/ValidationFailures.hpp"
#include "settingscore/validation/ElementVisit.hpp"
#include "settingscore/validation/ValueKinds.hpp"

#include <algorithm>

namespace settings::core {

using boost::shared_ptr;
using detail::CheckFunction;
using varnek::data::Array;
using varnek::data::TypeCode;

namespace {

void checkText(const shared_ptr<const Settings>& setting, const shared_ptr<Settings>& parent,
               const Array& value) {
    if (!detail::visitTexts(value, [](std::u16string_view) {}))
        throw exception::ValueMustBeString(setting, parent);
}

std::u16string joined(const std::vector<std::u16string>& choices) {
    std::u16string text;
    for (const std::u16string& choice : choices)
        text.append(&choice == &choices.front() ? u"" : u", ").append(choice);
    return text;
}

CheckFunction membershipCheck(std::vector<std::u16string> allowed) {
    return [allowed = std::move(allowed)](const shared_ptr<const Settings>& setting,
                                          const shared_ptr<Settings>& parent, const Array& value) {
        const bool isText = detail::visitTexts(value, [&](std::u16string_view text) {
            if (std::find(allowed.begin(), allowed.end(), text) == allowed.end())
                throw exception::ValueIsNotOneOfTheChoicesAndNotInRange(setting, parent, std::u16string(text),
                                                                        joined(allowed), {}, {});
        });
        if (!isText)
            throw exception::ValueMustBeString(setting, parent);
    };
}

/// Of a bound: empty when there is none.
std::u16string boundText(std::uint64_t size) {
    const std::string digits = size == 0 ? std::string() : std::to_string(size);
    return {digits.begin(), digits.end()};
}

CheckFunction sizeCheck(std::uint64_t minimum, std::uint64_t maximum) {
    return [minimum, maximum](const shared_ptr<const Settings>& setting, const shared_ptr<Settings>& parent,
                              const Array& value) {
        const bool isText = detail::visitTexts(value, [&](std::u16string_view text) {
            if ((minimum == 0 || text.size() >= minimum) && (maximum == 0 || text.size() <= maximum))
                return;
            const std::string size = std::to_string(text.size());
            throw exception::ValueIsNotInRange(setting, parent, {size.begin(), size.end()},
                                               boundText(minimum), boundText(maximum));
        });
        if (!isText)
            throw exception::ValueMustBeString(setting, parent);
    };
}

/// A character array holds one text, so that several become a cell of them.
Array asCharacters(const Array& value) {
    if (value.type() != TypeCode::string || value.numberOfElements() == 0)
        return value;
    const auto texts = value.elements<std::u16string>();
    if (texts.size() == 1)
        return Array::text(texts.front());
    std::vector<Array> cells(texts.size());
    std::transform(texts.begin(), texts.end(), cells.begin(),
                   [](const std::u16string& text) { return Array::text(text); });
    const auto extents = value.dimensions();
    return Array::make<Array>({extents.begin(), extents.end()}, std::move(cells));
}

} // namespace

template <class Shape>
void StringMetaData<Shape>::addValidators(std::vector<CheckFunction>& checks) const {
    Shape::addValidators(checks);
    const auto minimum = getMinStringSize();
    const auto maximum = getMaxStringSize();
    if (!allowed_.empty())
        checks.push_back(membershipCheck(allowed_));
    if (minimum || maximum)
        checks.push_back(sizeCheck(minimum.value_or(0), maximum.value_or(0)));
    else if (allowed_.empty())
        checks.emplace_back(&checkText);
}

template <class Shape>
void StringMetaData<Shape>::addConverter(detail::Converter& converter) const {
    if (storeAsCharVector_)
        converter = &asCharacters;
}

template class StringMetaData<MustBeScalar>;
template class StringMetaData<MustBeVector>;
template class StringMetaData<AnyShape>;

} // namespace settings::core
