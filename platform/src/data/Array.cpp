#include "varnek/data/Array.hpp"

#include "data/Block.hpp"

#include <limits>
#include <stdexcept>

namespace varnek::data {

namespace {

/// Up to this size elements are copied behind their block: one allocation less and no vector to keep.
constexpr std::size_t trailingBytes = 256;

constexpr std::array<std::size_t, 2> scalarExtents{1, 1};

std::string extentsText(std::span<const std::size_t> extents) {
    std::string text;
    for (const std::size_t extent : extents) {
        if (!text.empty())
            text += 'x';
        text += std::to_string(extent);
    }
    return text;
}

std::size_t checkedProduct(const Dimensions& dimensions) {
    if (dimensions.size() < 2)
        throw std::invalid_argument("an array has at least two dimensions");
    if (std::find(dimensions.begin(), dimensions.end(), 0) != dimensions.end())
        return 0;
    std::size_t product = 1;
    for (const std::size_t extent : dimensions) {
        if (extent > std::numeric_limits<std::size_t>::max() / product)
            throw std::invalid_argument("an array of " + extentsText(dimensions) + " elements is too large");
        product *= extent;
    }
    return product;
}

/// Checks the shape against the number of elements and drops trailing extents of 1.
void normalise(Dimensions& dimensions, std::size_t numberOfElements) {
    if (checkedProduct(dimensions) != numberOfElements)
        throw std::invalid_argument("an array of " + extentsText(dimensions) + " cannot hold " +
                                    std::to_string(numberOfElements) + " elements");
    while (dimensions.size() > 2 && dimensions.back() == 1)
        dimensions.pop_back();
}

void setExtents(detail::Block& block, Dimensions dimensions) {
    if (dimensions.size() == 2)
        block.plane = {dimensions[0], dimensions[1]};
    else
        block.extents = std::make_unique<const Dimensions>(std::move(dimensions));
}

std::span<const std::size_t> extentsOf(const detail::Block& block) noexcept {
    if (block.extents)
        return *block.extents;
    return block.plane;
}

template <class T>
std::unique_ptr<detail::Block> makeBlock(std::vector<T> elements) {
    if constexpr (std::is_same_v<T, bool>) {
        return detail::TrailingBlock<bool>::copyOf(elements.begin(), elements.size());
    } else {
        if constexpr (std::is_trivially_copyable_v<T>) {
            if (elements.size() <= trailingBytes / sizeof(T))
                return detail::TrailingBlock<T>::copyOf(elements.begin(), elements.size());
        }
        elements.shrink_to_fit();
        return std::make_unique<detail::VectorBlock<T>>(std::move(elements));
    }
}

} // namespace

Array Array::adopt(TypeCode type, std::unique_ptr<detail::Block> block) noexcept {
    Array result;
    const detail::Block* const address = block.release();
    std::memcpy(result.payload_, &address, sizeof address);
    result.type_ = type;
    return result;
}

void Array::release() noexcept {
    const detail::Block* const shared = block();
    if (shared->references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete shared;
}

template <class T>
Array Array::make(Dimensions dimensions, std::vector<T> elements) {
    normalise(dimensions, elements.size());
    if constexpr (InlineScalar<T>) {
        if (elements.size() == 1 && dimensions.size() == 2)
            return scalar(static_cast<T>(elements.front()));
    }
    auto block = makeBlock(std::move(elements));
    setExtents(*block, std::move(dimensions));
    return adopt(typeCodeOf<T>, std::move(block));
}

template <class T>
Array Array::row(std::vector<T> elements) {
    const std::size_t count = elements.size();
    if constexpr (InlineScalar<T>) {
        if (count == 1)
            return scalar(static_cast<T>(elements.front()));
    }
    auto block = makeBlock(std::move(elements));
    block->plane = {1, count};
    return adopt(typeCodeOf<T>, std::move(block));
}

#define VARNEK_DEFINE_MAKE(T)                                                                                \
    template VARNEK_EXPORT Array Array::make<T>(Dimensions, std::vector<T>);                                 \
    template VARNEK_EXPORT Array Array::row<T>(std::vector<T>);
VARNEK_DATA_ELEMENT_TYPES(VARNEK_DEFINE_MAKE)
#undef VARNEK_DEFINE_MAKE

Array Array::scalar(std::complex<double> value) {
    return row(std::vector{value});
}

Array Array::scalar(std::complex<float> value) {
    return row(std::vector{value});
}

Array Array::scalar(std::u16string value) {
    std::vector<std::u16string> elements;
    elements.push_back(std::move(value));
    return row(std::move(elements));
}

Array Array::cellScalar(Array element) {
    std::vector<Array> elements;
    elements.push_back(std::move(element));
    return row(std::move(elements));
}

Array Array::text(std::u16string_view value) {
    if (value.size() == 1)
        return scalar(value.front());
    auto block = value.size() <= trailingBytes / sizeof(char16_t)
                     ? detail::TrailingBlock<char16_t>::copyOf(value.begin(), value.size())
                     : makeBlock(std::vector<char16_t>(value.begin(), value.end()));
    block->plane = {value.empty() ? 0U : 1U, value.size()};
    return adopt(TypeCode::character, std::move(block));
}

Array Array::structure(Dimensions dimensions, std::vector<std::string> names, std::vector<Array> values) {
    for (auto name = names.begin(); name != names.end(); ++name) {
        if (name->empty())
            throw std::invalid_argument("a field of a structure needs a name");
        if (std::find(names.begin(), name, *name) != name)
            throw std::invalid_argument("the structure has two fields \"" + *name + '"');
    }
    const std::size_t count = checkedProduct(dimensions);
    const bool fits = names.empty()
                          ? values.empty()
                          : values.size() % names.size() == 0 && values.size() / names.size() == count;
    if (!fits)
        throw std::invalid_argument("a structure of " + extentsText(dimensions) + " with " +
                                    std::to_string(names.size()) + " fields cannot hold " +
                                    std::to_string(values.size()) + " values");
    normalise(dimensions, count);
    auto block = std::make_unique<detail::StructureBlock>(std::move(names), std::move(values), count);
    setExtents(*block, std::move(dimensions));
    return adopt(TypeCode::structure, std::move(block));
}

std::span<const std::size_t> Array::dimensions() const noexcept {
    if (inline_)
        return scalarExtents;
    return isShared() ? extentsOf(*block()) : std::span<const std::size_t>();
}

bool Array::isRowOrColumn() const noexcept {
    const auto extents = dimensions();
    return extents.size() == 2 && (extents[0] == 1 || extents[1] == 1);
}

const detail::StructureBlock& Array::structureBlock() const {
    if (type_ != TypeCode::structure)
        throwWrongType(TypeCode::structure);
    return static_cast<const detail::StructureBlock&>(*block());
}

std::span<const std::string> Array::fieldNames() const {
    return structureBlock().names;
}

const Array& Array::field(std::string_view name, std::size_t index) const {
    const auto& structure = structureBlock();
    const auto found = std::find(structure.names.begin(), structure.names.end(), name);
    if (found == structure.names.end())
        throw std::out_of_range("the structure has no field \"" + std::string(name) + '"');
    if (index >= structure.count)
        throwOutOfRange(index);
    const auto position = static_cast<std::size_t>(found - structure.names.begin());
    return structure.storage[index * structure.names.size() + position];
}

void Array::throwWrongType(TypeCode wanted) const {
    throw std::invalid_argument("the array holds elements of class " + std::string(className(type_)) +
                                ", not " + std::string(className(wanted)));
}

void Array::throwOutOfRange(std::size_t index) const {
    throw std::out_of_range("element " + std::to_string(index) + " of an array of " + dimensionsText(*this));
}

std::string dimensionsText(const Array& array) {
    return extentsText(array.dimensions());
}

} // namespace varnek::data
