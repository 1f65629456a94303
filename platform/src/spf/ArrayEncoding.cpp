// Data arrays as they travel: elements of a plain type as their bytes, everything else one by one.

#include "spf/ValueEncoding.hpp"

#include <algorithm>
#include <bit>
#include <complex>
#include <cstring>

namespace varnek::spf::arrays {
namespace {

using data::Array;
using data::Dimensions;
using data::TypeCode;

static_assert(std::endian::native == std::endian::little, "elements travel as they lie in memory");

[[noreturn]] void refuse(const char* what) {
    throw RemoteError(RemoteErrorKind::malformed, what);
}

/// Calls `f` with a value of the element type of a code whose elements are plain bytes; false for others.
template <class F>
bool withPlainType(TypeCode type, F f) {
    switch (type) {
    case TypeCode::logical:
        return f(bool()), true;
    case TypeCode::character:
        return f(char16_t()), true;
    case TypeCode::float64:
        return f(double()), true;
    case TypeCode::float32:
        return f(float()), true;
    case TypeCode::int8:
        return f(std::int8_t()), true;
    case TypeCode::uint8:
        return f(std::uint8_t()), true;
    case TypeCode::int16:
        return f(std::int16_t()), true;
    case TypeCode::uint16:
        return f(std::uint16_t()), true;
    case TypeCode::int32:
        return f(std::int32_t()), true;
    case TypeCode::uint32:
        return f(std::uint32_t()), true;
    case TypeCode::int64:
        return f(std::int64_t()), true;
    case TypeCode::uint64:
        return f(std::uint64_t()), true;
    case TypeCode::complexFloat64:
        return f(std::complex<double>()), true;
    case TypeCode::complexFloat32:
        return f(std::complex<float>()), true;
    case TypeCode::empty:
    case TypeCode::string:
    case TypeCode::cell:
    case TypeCode::structure:
        return false;
    }
    return false;
}

std::size_t sizeOfCells(std::size_t count) {
    return 1 + count * capnp::sizeInWords<wire::Array>();
}

/// All fields of the first element, of the second, ...
template <class F>
void forEachField(const Array& structure, F f) {
    const auto names = structure.fieldNames();
    for (std::size_t element = 0; !names.empty() && element < structure.numberOfElements(); ++element)
        for (const std::string& name : names)
            f(structure.field(name, element));
}

std::size_t sizeOfStructure(const Array& array, Allowance& allowance, std::size_t depth) {
    allowance.descend(depth + 1);
    const auto names = array.fieldNames();
    const std::size_t fields = names.size() * (names.empty() ? 0 : array.numberOfElements());
    allowance.take(names.size() + fields);
    std::size_t words = names.size() + sizeOfCells(fields);
    for (const std::string& name : names)
        words += wordsOfBytes(name.size());
    forEachField(array, [&](const Array& field) { words += size(field, allowance, depth + 1); });
    return words;
}

std::size_t sizeOfElements(const Array& array, Allowance& allowance, std::size_t depth) {
    const std::size_t count = array.numberOfElements();
    std::size_t words = 0;
    switch (array.type()) {
    case TypeCode::string:
        allowance.take(count);
        words = count;
        for (const std::u16string& text : array.elements<std::u16string>())
            words += wordsOfBytes(text.size() * sizeof(char16_t));
        return words;
    case TypeCode::cell:
        allowance.descend(depth + 1);
        allowance.take(count);
        words = sizeOfCells(count);
        for (const Array& cell : array.elements<Array>())
            words += size(cell, allowance, depth + 1);
        return words;
    case TypeCode::structure:
        return sizeOfStructure(array, allowance, depth);
    default:
        withPlainType(array.type(), [&]<class T>(T) { words = wordsOfBytes(count * sizeof(T)); });
        return words;
    }
}

template <class T>
void writeScalar(const Array& array, wire::Array::Builder to) {
    const T element = array.elements<T>().front();
    std::uint64_t bits = 0;
    std::memcpy(&bits, &element, sizeof element);
    to.setScalar(bits);
}

void writeCells(std::span<const Array> cells, capnp::List<wire::Array>::Builder to) {
    for (std::size_t i = 0; i < cells.size(); ++i)
        write(cells[i], to[static_cast<capnp::uint>(i)]);
}

void writeStructure(const Array& array, wire::Array::Structure::Builder to) {
    const auto names = array.fieldNames();
    auto wireNames = to.initNames(static_cast<capnp::uint>(names.size()));
    for (capnp::uint i = 0; i < wireNames.size(); ++i)
        wireNames.set(i, {reinterpret_cast<const kj::byte*>(names[i].data()), names[i].size()});
    const std::size_t fields = names.size() * (names.empty() ? 0 : array.numberOfElements());
    auto values = to.initValues(static_cast<capnp::uint>(fields));
    capnp::uint next = 0;
    forEachField(array, [&](const Array& field) { write(field, values[next++]); });
}

template <class T>
kj::ArrayPtr<const kj::byte> bytesOf(std::span<const T> elements) {
    return {reinterpret_cast<const kj::byte*>(elements.data()), elements.size_bytes()};
}

void writeElements(const Array& array, wire::Array::Builder to) {
    if (array.type() == TypeCode::string) {
        const auto texts = array.elements<std::u16string>();
        auto strings = to.initStrings(static_cast<capnp::uint>(texts.size()));
        for (capnp::uint i = 0; i < strings.size(); ++i)
            strings.set(i, bytesOf(std::span<const char16_t>(texts[i])));
    } else if (array.type() == TypeCode::cell) {
        const auto cells = array.elements<Array>();
        writeCells(cells, to.initCells(static_cast<capnp::uint>(cells.size())));
    } else if (array.type() == TypeCode::structure) {
        writeStructure(array, to.initStructure());
    } else {
        withPlainType(array.type(), [&]<class T>(T) { to.setElements(bytesOf(array.elements<T>())); });
    }
}

Dimensions readDimensions(wire::Array::Reader from) {
    const auto list = from.getDimensions();
    Dimensions dimensions;
    dimensions.reserve(list.size());
    for (const std::uint64_t extent : list)
        dimensions.push_back(extent);
    return dimensions;
}

/// Array::make() with its refusals as ours.
template <class F>
Array made(F make) {
    try {
        return make();
    } catch (const std::invalid_argument& refusal) {
        throw RemoteError(RemoteErrorKind::malformed, std::string("A malformed array: ") + refusal.what());
    }
}

template <class T>
Array readScalar(std::uint64_t bits) {
    if constexpr (data::InlineScalar<T>) {
        if (std::is_same_v<T, bool> && bits > 1)
            refuse("A logical that is neither true nor false");
        T element;
        std::memcpy(&element, &bits, sizeof element);
        return Array::scalar(element);
    } else {
        refuse("A scalar of a type that is none");
    }
}

template <class T>
Array readElements(Dimensions dimensions, capnp::Data::Reader bytes) {
    if (bytes.size() % sizeof(T) != 0)
        refuse("An array with a part of an element");
    if constexpr (std::is_same_v<T, bool>) {
        if (std::any_of(bytes.begin(), bytes.end(), [](kj::byte byte) { return byte > 1; }))
            refuse("A logical that is neither true nor false");
        return made([&] {
            return Array::make(std::move(dimensions), std::vector<bool>(bytes.begin(), bytes.end()));
        });
    } else {
        std::vector<T> elements(bytes.size() / sizeof(T));
        if (!elements.empty())
            std::memcpy(static_cast<void*>(elements.data()), bytes.begin(), bytes.size());
        return made([&] { return Array::make(std::move(dimensions), std::move(elements)); });
    }
}

Array readStrings(Dimensions dimensions, capnp::List<capnp::Data>::Reader from, Allowance& allowance) {
    allowance.take(from.size());
    std::vector<std::u16string> texts(from.size());
    for (capnp::uint i = 0; i < from.size(); ++i) {
        const auto bytes = from[i];
        if (bytes.size() % sizeof(char16_t) != 0)
            refuse("A text with half a character");
        texts[i].resize(bytes.size() / sizeof(char16_t));
        if (!texts[i].empty())
            std::memcpy(texts[i].data(), bytes.begin(), bytes.size());
    }
    return made([&] { return Array::make(std::move(dimensions), std::move(texts)); });
}

std::vector<Array> readCells(capnp::List<wire::Array>::Reader from, Allowance& allowance, std::size_t depth) {
    allowance.descend(depth);
    allowance.take(from.size());
    std::vector<Array> cells;
    cells.reserve(from.size());
    for (const wire::Array::Reader cell : from)
        cells.push_back(read(cell, allowance, depth));
    return cells;
}

Array readStructure(Dimensions dimensions, wire::Array::Structure::Reader from, Allowance& allowance,
                    std::size_t depth) {
    std::vector<std::string> names;
    const auto wireNames = from.getNames();
    allowance.take(wireNames.size());
    names.reserve(wireNames.size());
    for (const capnp::Data::Reader name : wireNames)
        names.emplace_back(reinterpret_cast<const char*>(name.begin()), name.size());
    auto values = readCells(from.getValues(), allowance, depth + 1);
    return made([&] { return Array::structure(std::move(dimensions), std::move(names), std::move(values)); });
}

Array readPlain(TypeCode type, wire::Array::Reader from) {
    Array result;
    const bool isPlain = withPlainType(type, [&]<class T>(T) {
        result = from.isScalar() ? readScalar<T>(from.getScalar())
                                 : readElements<T>(readDimensions(from), from.getElements());
    });
    if (!isPlain)
        refuse("An array whose elements are of another type");
    return result;
}

} // namespace

std::size_t size(const Array& array, Allowance& allowance, std::size_t depth) {
    if (array.isVoid() || array.isInline())
        return 0;
    return array.dimensions().size() + sizeOfElements(array, allowance, depth);
}

void write(const Array& array, wire::Array::Builder to) {
    to.setType(static_cast<std::uint8_t>(array.type()));
    if (array.isVoid())
        return;
    if (array.isInline()) {
        withPlainType(array.type(), [&]<class T>(T) {
            if constexpr (data::InlineScalar<T>)
                writeScalar<T>(array, to);
        });
        return;
    }
    const auto extents = array.dimensions();
    auto dimensions = to.initDimensions(static_cast<capnp::uint>(extents.size()));
    for (capnp::uint i = 0; i < dimensions.size(); ++i)
        dimensions.set(i, extents[i]);
    writeElements(array, to);
}

Array read(wire::Array::Reader from, Allowance& allowance, std::size_t depth) {
    const auto type = static_cast<TypeCode>(from.getType());
    switch (from.which()) {
    case wire::Array::VOID:
        if (type != TypeCode::empty)
            break;
        return {};
    case wire::Array::SCALAR:
    case wire::Array::ELEMENTS:
        return readPlain(type, from);
    case wire::Array::STRINGS:
        if (type != TypeCode::string)
            break;
        return readStrings(readDimensions(from), from.getStrings(), allowance);
    case wire::Array::CELLS:
        if (type != TypeCode::cell)
            break;
        {
            auto cells = readCells(from.getCells(), allowance, depth + 1);
            return made([&] { return Array::make(readDimensions(from), std::move(cells)); });
        }
    case wire::Array::STRUCTURE:
        if (type != TypeCode::structure)
            break;
        return readStructure(readDimensions(from), from.getStructure(), allowance, depth);
    }
    refuse("An array whose elements are of another type");
}

} // namespace varnek::spf::arrays
