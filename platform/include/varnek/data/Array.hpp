/// The application's data array: an immutable n-dimensional array with a type code, stored column by column.
///
/// An Array is a value of 16 bytes. A real scalar of up to eight bytes lives inside it, with its 1x1 shape:
/// copying it touches neither the heap nor a reference count. Every other array shares one immutable block.
///
/// Thread-safe like a `std::shared_ptr`: distinct Array objects may be used from any threads, also when they
/// share a block; one object that is assigned to needs a lock of the caller.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/data/TypeCode.hpp"

#include <array>
#include <atomic>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace varnek::data {

class Array;

/// Extent per dimension, first dimension (rows) first; never fewer than two entries for an array with a type.
using Dimensions = std::vector<std::size_t>;

/// Maps a C++ element type to its type code. Character arrays hold `char16_t`, string arrays
/// `std::u16string`.
template <class T>
struct TypeCodeOf;

namespace detail {

template <TypeCode code>
struct CodeConstant {
    static constexpr TypeCode value = code;
};

/// Head of a shared block: shape and reference count, counted by hand so that an Array stays at two words.
/// The elements lie contiguously behind `elements`; the derived block owns them.
struct VARNEK_EXPORT Block {
    mutable std::atomic<std::size_t> references{1};
    std::size_t count = 0;
    const void* elements = nullptr;
    std::array<std::size_t, 2> plane{};        ///< the extents of a two-dimensional array
    std::unique_ptr<const Dimensions> extents; ///< all extents of an array with more dimensions, else null

    Block() = default;
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    virtual ~Block() = default;
};

struct StructureBlock;

} // namespace detail

template <>
struct TypeCodeOf<bool> : detail::CodeConstant<TypeCode::logical> {};
template <>
struct TypeCodeOf<char16_t> : detail::CodeConstant<TypeCode::character> {};
template <>
struct TypeCodeOf<std::u16string> : detail::CodeConstant<TypeCode::string> {};
template <>
struct TypeCodeOf<double> : detail::CodeConstant<TypeCode::float64> {};
template <>
struct TypeCodeOf<float> : detail::CodeConstant<TypeCode::float32> {};
template <>
struct TypeCodeOf<std::int8_t> : detail::CodeConstant<TypeCode::int8> {};
template <>
struct TypeCodeOf<std::uint8_t> : detail::CodeConstant<TypeCode::uint8> {};
template <>
struct TypeCodeOf<std::int16_t> : detail::CodeConstant<TypeCode::int16> {};
template <>
struct TypeCodeOf<std::uint16_t> : detail::CodeConstant<TypeCode::uint16> {};
template <>
struct TypeCodeOf<std::int32_t> : detail::CodeConstant<TypeCode::int32> {};
template <>
struct TypeCodeOf<std::uint32_t> : detail::CodeConstant<TypeCode::uint32> {};
template <>
struct TypeCodeOf<std::int64_t> : detail::CodeConstant<TypeCode::int64> {};
template <>
struct TypeCodeOf<std::uint64_t> : detail::CodeConstant<TypeCode::uint64> {};
template <>
struct TypeCodeOf<std::complex<double>> : detail::CodeConstant<TypeCode::complexFloat64> {};
template <>
struct TypeCodeOf<std::complex<float>> : detail::CodeConstant<TypeCode::complexFloat32> {};
template <>
struct TypeCodeOf<Array> : detail::CodeConstant<TypeCode::cell> {};

template <class T>
inline constexpr TypeCode typeCodeOf = TypeCodeOf<T>::value;

/// Element types whose 1x1 array lives inside the Array object, whichever way it was made.
template <class T>
concept InlineScalar = std::is_arithmetic_v<T> && sizeof(T) <= 8 && requires {
    TypeCodeOf<T>::value;
};

class VARNEK_EXPORT Array {
  public:
    /// The void array (type code 0, no dimensions).
    Array() noexcept = default;

    /// A 1x1 array.
    template <InlineScalar T>
    static Array scalar(T value) noexcept {
        Array result;
        result.type_ = typeCodeOf<T>;
        result.inline_ = true;
        ::new (static_cast<void*>(result.payload_)) T(value);
        return result;
    }
    /// A 1x1 array of a type that does not fit inside: complex numbers, a string, a cell.
    static Array scalar(std::complex<double> value);
    static Array scalar(std::complex<float> value);
    static Array scalar(std::u16string value);
    static Array cellScalar(Array element);

    /// An array of the given shape. `elements` are in column-major order; std::invalid_argument when their
    /// number is not the product of `dimensions`, when there are fewer than two dimensions, or when that
    /// product overflows. Trailing dimensions of 1 beyond the second are dropped.
    template <class T>
    static Array make(Dimensions dimensions, std::vector<T> elements);

    /// A 1xn array.
    template <class T>
    static Array row(std::vector<T> elements);

    /// One text as a 1xn character array, one element per UTF-16 unit; the empty text is 0x0.
    static Array text(std::u16string_view value);

    /// A structure array: `names` are the field names in order, `values` hold for each element the fields in
    /// that order (element-major). std::invalid_argument on duplicate or empty names or a wrong number of
    /// values.
    static Array structure(Dimensions dimensions, std::vector<std::string> names, std::vector<Array> values);

    Array(const Array& other) noexcept : type_(other.type_), inline_(other.inline_) {
        std::memcpy(payload_, other.payload_, sizeof payload_);
        if (isShared())
            block()->references.fetch_add(1, std::memory_order_relaxed);
    }
    /// The source becomes the void array.
    Array(Array&& other) noexcept
        : type_(std::exchange(other.type_, TypeCode::empty)), inline_(std::exchange(other.inline_, false)) {
        std::memcpy(payload_, other.payload_, sizeof payload_);
    }
    Array& operator=(Array other) noexcept {
        swap(other);
        return *this;
    }
    ~Array() {
        if (isShared())
            release();
    }
    void swap(Array& other) noexcept {
        std::swap(payload_, other.payload_);
        std::swap(type_, other.type_);
        std::swap(inline_, other.inline_);
    }
    friend void swap(Array& a, Array& b) noexcept { a.swap(b); }

    TypeCode type() const noexcept { return type_; }
    /// True for the void array only; a 0x0 double is a value.
    bool isVoid() const noexcept { return type_ == TypeCode::empty; }
    bool isInline() const noexcept { return inline_; }

    std::size_t numberOfElements() const noexcept { return inline_ ? 1 : isShared() ? block()->count : 0; }
    /// At least two extents; none for the void array. Valid as long as this object is not assigned to.
    std::span<const std::size_t> dimensions() const noexcept;
    /// Two dimensions of which at least one is 1.
    bool isRowOrColumn() const noexcept;

    /// The elements in column-major order, contiguous. Valid as long as this object is neither assigned to
    /// nor destroyed (for an inline scalar they lie inside it). std::invalid_argument when T is not the
    /// element type.
    template <class T>
    std::span<const T> elements() const {
        if (type_ != typeCodeOf<T>)
            throwWrongType(typeCodeOf<T>);
        if constexpr (InlineScalar<T>) {
            if (inline_)
                return {std::launder(reinterpret_cast<const T*>(payload_)), 1};
        }
        return {static_cast<const T*>(block()->elements), block()->count};
    }

    /// Element `index` (column-major) of type T; std::invalid_argument, std::out_of_range.
    template <class T>
    T element(std::size_t index = 0) const {
        const auto all = elements<T>();
        if (index >= all.size())
            throwOutOfRange(index);
        return all[index];
    }

    /// All code units of a character array in row order (for one row: the text). std::invalid_argument
    /// otherwise.
    std::u16string text() const;
    /// The rows of a character array as texts (pages in order for more than two dimensions; the 0x0 array is
    /// one empty text); the elements of a string array; text() of each element of a cell that holds character
    /// arrays only. std::invalid_argument otherwise.
    std::vector<std::u16string> texts() const;

    /// Structure arrays only (std::invalid_argument otherwise): field names in order; one field of one
    /// element (std::out_of_range for an unknown name or index).
    std::span<const std::string> fieldNames() const;
    const Array& field(std::string_view name, std::size_t index = 0) const;

    /// Same type, same dimensions, same elements. Floating-point elements are the same when both are NaN or
    /// when they are equal and have the same sign (so -0 and 0 differ); fields of structures compare in
    /// order.
    friend VARNEK_EXPORT bool operator==(const Array& a, const Array& b) noexcept;

  private:
    bool isShared() const noexcept { return !inline_ && type_ != TypeCode::empty; }
    const detail::Block* block() const noexcept {
        const detail::Block* address = nullptr;
        std::memcpy(&address, payload_, sizeof address);
        return address;
    }
    const detail::StructureBlock& structureBlock() const;
    void release() noexcept;
    static Array adopt(TypeCode type, std::unique_ptr<detail::Block> block) noexcept;
    [[noreturn]] void throwWrongType(TypeCode wanted) const;
    [[noreturn]] void throwOutOfRange(std::size_t index) const;

    /// An inline scalar itself, or the address of the shared block. Bytes, so that both may live here.
    alignas(8) std::byte payload_[8]{};
    TypeCode type_ = TypeCode::empty;
    bool inline_ = false;
};

static_assert(sizeof(Array) == 16);

/// "2x3", "1x1"; "" for the void array. For messages.
VARNEK_EXPORT std::string dimensionsText(const Array& array);

// Every element type has its make and row in the library.
#define VARNEK_DATA_ELEMENT_TYPES(X)                                                                         \
    X(bool)                                                                                                  \
    X(char16_t)                                                                                              \
    X(std::u16string)                                                                                        \
    X(double)                                                                                                \
    X(float)                                                                                                 \
    X(std::int8_t)                                                                                           \
    X(std::uint8_t)                                                                                          \
    X(std::int16_t)                                                                                          \
    X(std::uint16_t)                                                                                         \
    X(std::int32_t)                                                                                          \
    X(std::uint32_t)                                                                                         \
    X(std::int64_t)                                                                                          \
    X(std::uint64_t)                                                                                         \
    X(std::complex<double>)                                                                                  \
    X(std::complex<float>)                                                                                   \
    X(Array)

#define VARNEK_DECLARE_MAKE(T)                                                                               \
    extern template VARNEK_EXPORT Array Array::make<T>(Dimensions, std::vector<T>);                          \
    extern template VARNEK_EXPORT Array Array::row<T>(std::vector<T>);
VARNEK_DATA_ELEMENT_TYPES(VARNEK_DECLARE_MAKE)
#undef VARNEK_DECLARE_MAKE

} // namespace varnek::data
