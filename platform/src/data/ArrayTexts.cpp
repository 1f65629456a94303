// Texts held by arrays.
#include "varnek/data/Array.hpp"

#include <algorithm>
#include <stdexcept>

namespace varnek::data {

namespace {

/// The code units of row `row` of all pages' rows, counted through: column-major storage makes them a stride
/// apart.
void appendRow(std::u16string& text, std::span<const char16_t> units, std::size_t rows, std::size_t columns,
               std::size_t row) {
    const std::size_t page = row / rows;
    const std::size_t first = page * rows * columns + row % rows;
    for (std::size_t column = 0; column < columns; ++column)
        text += units[first + column * rows];
}

std::size_t numberOfRows(const Array& array) {
    const auto extents = array.dimensions();
    std::size_t rows = extents[0];
    for (std::size_t i = 2; i < extents.size(); ++i)
        rows *= extents[i];
    return rows;
}

std::vector<std::u16string> rowTexts(const Array& array) {
    const auto extents = array.dimensions();
    const auto units = array.elements<char16_t>();
    if (extents.size() == 2 && extents[0] == 0 && extents[1] == 0)
        return {std::u16string()};
    std::vector<std::u16string> texts(numberOfRows(array));
    for (std::size_t row = 0; row < texts.size(); ++row)
        appendRow(texts[row], units, extents[0], extents[1], row);
    return texts;
}

} // namespace

std::u16string Array::text() const {
    const auto units = elements<char16_t>();
    const auto extents = dimensions();
    if (extents.size() == 2 && extents[0] == 1)
        return std::u16string(units.begin(), units.end());
    std::u16string text;
    text.reserve(units.size());
    if (units.empty())
        return text;
    const std::size_t rows = numberOfRows(*this);
    for (std::size_t row = 0; row < rows; ++row)
        appendRow(text, units, extents[0], extents[1], row);
    return text;
}

std::vector<std::u16string> Array::texts() const {
    if (type_ == TypeCode::character)
        return rowTexts(*this);
    if (type_ == TypeCode::string) {
        const auto all = elements<std::u16string>();
        return {all.begin(), all.end()};
    }
    if (type_ != TypeCode::cell)
        throwWrongType(TypeCode::character);
    const auto cells = elements<Array>();
    std::vector<std::u16string> texts;
    texts.reserve(cells.size());
    for (const Array& cell : cells)
        texts.push_back(cell.text());
    return texts;
}

} // namespace varnek::data
