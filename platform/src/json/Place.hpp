/// Where in a document a conversion is: a chain on the stack that becomes text only for an error.
#pragma once

#include "json/ConversionError.hpp"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace varnek::json::detail {

class Place {
  public:
    explicit Place(std::string_view rootPath) noexcept : step_(rootPath) {}

    /// What these refer to must outlive the result, this object included.
    Place key(std::string_view key) const noexcept { return {this, key, {}, 0}; }
    Place index(std::size_t index) const noexcept { return {this, {}, {}, index}; }
    /// The element with number `leaf` of nested arrays with these lengths, counted with the innermost
    /// fastest; without lengths this place itself.
    Place leaf(std::span<const std::size_t> lengths, std::size_t leaf) const noexcept {
        return lengths.empty() ? *this : Place(this, {}, lengths, leaf);
    }

    std::string path() const;

    [[noreturn]] void fail(ConversionFailure failure, std::string detail) const;

  private:
    Place(const Place* parent, std::string_view step, std::span<const std::size_t> lengths,
          std::size_t index) noexcept
        : parent_(parent), step_(step), lengths_(lengths), index_(index) {}

    const Place* parent_ = nullptr;
    std::string_view step_; // root path or key; a key is never empty here
    std::span<const std::size_t> lengths_;
    std::size_t index_ = 0;
};

} // namespace varnek::json::detail
