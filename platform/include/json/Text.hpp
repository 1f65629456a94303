/// A string in 15 bytes, for keys and string values: short texts need no memory of their own.
#pragma once

#include "varnek/Export.hpp"

#include <compare>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace varnek::json {

/// Externally synchronised. The view stays valid until the object is assigned to, moved from or destroyed.
class VARNEK_EXPORT Text {
  public:
    Text() noexcept = default;
    Text(std::string_view text) {
        if (text.size() <= inlineSize) {
            text.copy(bytes_, text.size());
            bytes_[inlineSize] = static_cast<char>(text.size());
        } else {
            allocate(text);
        }
    }
    Text(const char* text) : Text(std::string_view(text)) {}
    Text(const Text& other) : Text(other.view()) {}
    Text(Text&& other) noexcept { steal(other); }
    Text& operator=(Text other) noexcept {
        release();
        steal(other);
        return *this;
    }
    ~Text() { release(); }

    std::string_view view() const noexcept {
        return isInline() ? std::string_view(bytes_, static_cast<std::size_t>(bytes_[inlineSize]))
                          : outside();
    }
    operator std::string_view() const noexcept { return view(); }

    /// The same as comparing the view, without making one of a short text.
    bool is(std::string_view text) const noexcept {
        if (text.size() > inlineSize) // only these have a block
            return view() == text;
        return static_cast<std::size_t>(bytes_[inlineSize]) == text.size() &&
               std::memcmp(bytes_, text.data(), text.size()) == 0;
    }

    friend bool operator==(const Text& a, const Text& b) noexcept { return a.view() == b.view(); }
    friend std::strong_ordering operator<=>(const Text& a, const Text& b) noexcept {
        return a.view() <=> b.view();
    }

  private:
    static constexpr std::size_t inlineSize = 14;
    static constexpr char onHeap = 0x7F;

    bool isInline() const noexcept { return bytes_[inlineSize] != onHeap; }
    void steal(Text& other) noexcept {
        std::memcpy(bytes_, other.bytes_, sizeof bytes_);
        other.bytes_[inlineSize] = 0;
    }
    void release() noexcept {
        if (!isInline())
            deallocate();
    }
    void allocate(std::string_view text);
    void deallocate() noexcept;
    std::string_view outside() const noexcept;

    /// The text and, in the last byte, its size; or the address of a block and the mark of one.
    char bytes_[inlineSize + 1] = {};
};

} // namespace varnek::json
