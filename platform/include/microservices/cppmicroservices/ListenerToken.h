/// Names a listener, so that it can be removed.
#pragma once

#include "varnek/Export.hpp"

#include <cstdint>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {

namespace detail {
class Listeners;
} // namespace detail

/// Movable. Dropping it removes nothing. One that is default-constructed or moved from is invalid.
class VARNEK_EXPORT ListenerToken {
  public:
    ListenerToken() noexcept = default;
    ListenerToken(ListenerToken&& other) noexcept : id_(std::exchange(other.id_, 0)) {}
    ListenerToken& operator=(ListenerToken&& other) noexcept {
        id_ = std::exchange(other.id_, 0);
        return *this;
    }
    ListenerToken(const ListenerToken&) = delete;
    ListenerToken& operator=(const ListenerToken&) = delete;
    ~ListenerToken() = default;

    explicit operator bool() const noexcept { return id_ != 0; }

  private:
    friend class detail::Listeners;
    explicit ListenerToken(std::uint64_t id) noexcept : id_(id) {}

    std::uint64_t id_ = 0;
};

} // namespace varnek_platform
} // namespace cppmicroservices
