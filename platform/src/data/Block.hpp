/// The blocks behind arrays that are not inline scalars: who owns the elements, and where they lie.
#pragma once

#include "varnek/data/Array.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <vector>

namespace varnek::data::detail {

/// Keeps a vector that was handed in, without copying its elements.
template <class T>
struct VectorBlock : Block {
    explicit VectorBlock(std::vector<T> handedIn) : storage(std::move(handedIn)) {
        count = storage.size();
        elements = storage.data();
    }
    const std::vector<T> storage;
};

/// Elements of a structure array: `fields` holds for each element its fields in the order of `names`.
struct StructureBlock final : VectorBlock<Array> {
    StructureBlock(std::vector<std::string> fieldNames, std::vector<Array> values,
                   std::size_t numberOfElements)
        : VectorBlock<Array>(std::move(values)), names(std::move(fieldNames)) {
        count = numberOfElements;
    }
    const std::vector<std::string> names;
};

/// Block and elements in one allocation.
template <class T>
class TrailingBlock final : public Block {
  public:
    static_assert(std::is_trivially_copyable_v<T> && alignof(T) <= alignof(Block));

    template <class Iterator>
    static std::unique_ptr<Block> copyOf(Iterator first, std::size_t size) {
        std::unique_ptr<TrailingBlock> block(new (size * sizeof(T)) TrailingBlock);
        T* const begin =
            reinterpret_cast<T*>(reinterpret_cast<std::byte*>(block.get()) + sizeof(TrailingBlock));
        std::uninitialized_copy_n(first, size, begin);
        block->count = size;
        block->elements = begin;
        return block;
    }

    static void* operator new(std::size_t size, std::size_t trailing) {
        return ::operator new(size + trailing);
    }
    static void operator delete(void* address, std::size_t) { ::operator delete(address); }
    static void operator delete(void* address) { ::operator delete(address); }

  private:
    TrailingBlock() = default;
};

} // namespace varnek::data::detail
