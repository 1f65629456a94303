/// The shape of an n-d array as nested JSON arrays, both ways: the first dimension lies outside.
#pragma once

#include "varnek/data/Array.hpp"
#include "json/Place.hpp"
#include "json/Value.hpp"

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace varnek::json::detail {

/// True when nested arrays can tell this empty shape: only the last extent is zero, and the rows are few
/// enough to be worth writing.
bool nestingKeepsEmpty(std::span<const std::size_t> extents) noexcept;

/// Nested arrays of these extents; `leaf(offset)` makes the element at a column-major offset.
template <class Leaf>
Value nest(std::span<const std::size_t> extents, const Leaf& leaf, std::size_t offset = 0,
           std::size_t stride = 1) {
    if (extents.empty())
        return leaf(offset);
    Array level;
    level.reserve(extents.front());
    for (std::size_t i = 0; i < extents.front(); ++i)
        level.push_back(nest(extents.subspan(1), leaf, offset + i * stride, stride * extents.front()));
    return level;
}

/// The rules for whole arrays: one element alone (when `bareScalar`), one row flat, anything else nested.
template <class Leaf>
Value nestArray(const data::Array& array, bool bareScalar, const Leaf& leaf) {
    const auto extents = array.dimensions();
    const std::size_t count = array.numberOfElements();
    if (count == 0)
        return nestingKeepsEmpty(extents) ? nest(extents, leaf) : Array();
    if (extents.size() > 2 || extents.front() != 1)
        return nest(extents, leaf);
    return count == 1 && bareScalar ? leaf(0) : nest(extents.subspan(1), leaf);
}

/// Nested arrays taken apart.
struct Unnested {
    std::vector<std::size_t> lengths; ///< of each level; none when the value is no array
    std::vector<const Value*> leaves; ///< what is no array, with the innermost level fastest

    /// The extents of the array: one level is a row, and empty shapes follow the rule of nestingKeepsEmpty.
    data::Dimensions dimensions() const;
    /// The extents when the leaves bring one more dimension of this extent.
    data::Dimensions dimensionsWith(std::size_t lastExtent) const;

    /// The elements made by `convert(leaf, number of the leaf)`, in column-major order.
    template <class T, class Convert>
    std::vector<T> inColumnOrder(const Convert& convert) const {
        std::vector<T> elements(leaves.size());
        std::vector<std::size_t> indices(lengths.size());
        std::size_t target = 0;
        for (std::size_t i = 0; i < leaves.size(); ++i) {
            elements[target] = convert(*leaves[i], i);
            target = nextInColumnOrder(indices, target);
        }
        return elements;
    }

    /// Moves `indices` to the next leaf and returns its column-major offset, `target` being that of the
    /// present one.
    std::size_t nextInColumnOrder(std::vector<std::size_t>& indices, std::size_t target) const noexcept;
};

/// ConversionFailure::shape when lengths or depths differ.
Unnested unnest(const Value& value, const Place& place);

} // namespace varnek::json::detail
