#include "json/Text.hpp"

#include <new>

namespace varnek::json {

namespace {

/// A block outside holds the size of the text, then the text.
using Size = std::size_t;

} // namespace

void Text::allocate(std::string_view text) {
    char* const block = static_cast<char*>(::operator new(sizeof(Size) + text.size()));
    const Size size = text.size();
    std::memcpy(block, &size, sizeof size);
    text.copy(block + sizeof size, size);
    std::memcpy(bytes_, &block, sizeof block);
    bytes_[inlineSize] = onHeap;
}

void Text::deallocate() noexcept {
    char* block = nullptr;
    std::memcpy(&block, bytes_, sizeof block);
    ::operator delete(block);
    bytes_[inlineSize] = 0;
}

std::string_view Text::outside() const noexcept {
    const char* block = nullptr;
    std::memcpy(&block, bytes_, sizeof block);
    Size size = 0;
    std::memcpy(&size, block, sizeof size);
    return {block + sizeof size, size};
}

} // namespace varnek::json
