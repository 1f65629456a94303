// The bytes of an encoded message.
#pragma once

#include <capnp/common.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace varnek::spf {

/// Zeroed memory in whole words. Where much is asked for, it is there when it is written to.
class Words {
  public:
    Words() = default;
    explicit Words(std::size_t count)
        : memory_(static_cast<capnp::word*>(std::calloc(count + 1, sizeof(capnp::word)))), count_(count) {
        if (memory_ == nullptr)
            throw std::bad_alloc();
    }
    /// A copy; bytes that fill no whole word count as one.
    explicit Words(kj::ArrayPtr<const kj::byte> bytes)
        : Words((bytes.size() + sizeof(capnp::word) - 1) / sizeof(capnp::word)) {
        if (bytes.size() != 0)
            std::memcpy(memory_.get(), bytes.begin(), bytes.size());
    }
    Words(Words&& other) noexcept
        : memory_(std::move(other.memory_)), count_(std::exchange(other.count_, 0)) {}
    Words& operator=(Words&& other) noexcept {
        std::swap(memory_, other.memory_);
        std::swap(count_, other.count_);
        return *this;
    }

    std::size_t count() const noexcept { return count_; }
    std::size_t bytes() const noexcept { return count_ * sizeof(capnp::word); }
    kj::ArrayPtr<capnp::word> all() noexcept { return {memory_.get(), count_}; }
    kj::ArrayPtr<const capnp::word> all() const noexcept { return {memory_.get(), count_}; }
    kj::ArrayPtr<const kj::byte> asBytes() const noexcept { return all().asBytes(); }

  private:
    struct Free {
        void operator()(void* memory) const noexcept { std::free(memory); }
    };
    std::unique_ptr<capnp::word, Free> memory_;
    std::size_t count_ = 0;
};

} // namespace varnek::spf
