// Values as they travel.
#pragma once

#include "spf/RemoteError.hpp"
#include "spf/Value.hpp"

#include <spf/Remote.capnp.h>

#include <cstddef>

namespace varnek::spf {

/// Counts what a message may hold, on both sides.
class Allowance {
  public:
    /// The kind tells whose fault it is: tooLarge to encode, malformed to decode.
    explicit Allowance(RemoteErrorKind kind) : kind_(kind) {}

    /// RemoteError when there are too many.
    void take(std::size_t values);
    /// RemoteError when lists and cells are nested too deep.
    void descend(std::size_t depth) const;

  private:
    RemoteErrorKind kind_;
    std::size_t taken_ = 0;
};

/// Thread-safe. Encoding throws RemoteError of kind tooLarge, decoding of kind malformed, and kj::Exception
/// for what is no message at all; nothing is allocated for elements that did not come.
class ValueEncoding {
  public:
    /// The words that a list needs, without the pointer to it.
    static std::size_t size(const Value::List& values, Allowance& allowance, std::size_t depth = 0);
    /// The words that a value needs beyond the struct itself.
    static std::size_t size(const Value& value, Allowance& allowance, std::size_t depth = 0);

    static void write(const Value::List& values, capnp::List<wire::Value>::Builder to);
    static void write(const Value& value, wire::Value::Builder to);

    static Value::List read(capnp::List<wire::Value>::Reader from, Allowance& allowance,
                            std::size_t depth = 0);
    static Value read(wire::Value::Reader from, Allowance& allowance, std::size_t depth = 0);
};

/// The same for data arrays.
namespace arrays {
std::size_t size(const data::Array& array, Allowance& allowance, std::size_t depth);
void write(const data::Array& array, wire::Array::Builder to);
data::Array read(wire::Array::Reader from, Allowance& allowance, std::size_t depth);
} // namespace arrays

constexpr std::size_t wordsOfBytes(std::size_t bytes) noexcept {
    return (bytes + sizeof(capnp::word) - 1) / sizeof(capnp::word);
}

} // namespace varnek::spf
