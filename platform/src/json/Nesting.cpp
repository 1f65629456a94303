#include "json/Nesting.hpp"

#include <algorithm>

namespace varnek::json::detail {

namespace {

/// A shape such as 10^9 x 0 would need as many "[]": it is not kept.
constexpr std::size_t mostEmptyRows = 10'000;

/// Adds the leaves below `value`, which stands on level `level`.
void collect(const Value& value, std::size_t level, const Place& place, Unnested& result) {
    const Array* const array = value.ifArray();
    if (level == result.lengths.size()) {
        if (array != nullptr)
            place.fail(ConversionFailure::shape, "nested deeper than its neighbours");
        result.leaves.push_back(&value);
        return;
    }
    if (array == nullptr)
        place.fail(ConversionFailure::shape, "nested less deep than its neighbours");
    if (array->size() != result.lengths[level])
        place.fail(ConversionFailure::shape, "an array of " + std::to_string(array->size()) +
                                                 " beside one of " + std::to_string(result.lengths[level]));
    for (std::size_t i = 0; i < array->size(); ++i)
        collect((*array)[i], level + 1, place.index(i), result);
}

} // namespace

bool nestingKeepsEmpty(std::span<const std::size_t> extents) noexcept {
    if (extents.size() < 2 || extents.back() != 0)
        return false;
    std::size_t rows = 1;
    for (const std::size_t extent : extents.first(extents.size() - 1)) {
        if (extent == 0 || extent > mostEmptyRows / rows)
            return false;
        rows *= extent;
    }
    return true;
}

data::Dimensions Unnested::dimensions() const {
    if (lengths.empty())
        return {1, 1};
    if (lengths.size() == 1 && !leaves.empty())
        return {1, lengths.front()};
    if (leaves.empty() && !nestingKeepsEmpty(lengths))
        return {0, 0};
    return lengths;
}

data::Dimensions Unnested::dimensionsWith(std::size_t lastExtent) const {
    data::Dimensions result = lengths;
    if (result.empty())
        result.push_back(lastExtent == 0 ? 0 : 1);
    result.push_back(lastExtent);
    const bool empty = std::find(result.begin(), result.end(), 0) != result.end();
    return empty && !nestingKeepsEmpty(result) ? data::Dimensions{0, 0} : result;
}

std::size_t Unnested::nextInColumnOrder(std::vector<std::size_t>& indices,
                                        std::size_t target) const noexcept {
    std::size_t stride = leaves.size();
    for (std::size_t level = lengths.size(); level-- > 0;) {
        stride /= lengths[level];
        target += stride;
        if (++indices[level] < lengths[level])
            return target;
        target -= stride * lengths[level];
        indices[level] = 0;
    }
    return target;
}

Unnested unnest(const Value& value, const Place& place) {
    Unnested result;
    // The first element of each level sets the lengths; only leaves that are there take memory.
    for (const Array* array = value.ifArray(); array != nullptr; array = array->front().ifArray()) {
        result.lengths.push_back(array->size());
        if (array->empty())
            break;
    }
    collect(value, 0, place, result);
    return result;
}

} // namespace varnek::json::detail
