/// What happened to a framework.
#pragma once

#include "cppmicroservices/Bundle.h"
#include "varnek/Export.hpp"

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {

/// Immutable. A default-constructed event is invalid.
class VARNEK_EXPORT FrameworkEvent {
  public:
    enum Type : std::uint32_t {
        FRAMEWORK_STARTED = 0x1,
        FRAMEWORK_ERROR = 0x2,
        FRAMEWORK_WARNING = 0x10,
        FRAMEWORK_INFO = 0x20,
        FRAMEWORK_STOPPED = 0x40,
        FRAMEWORK_WAIT_TIMEDOUT = 0x200,
    };

    FrameworkEvent() noexcept = default;
    FrameworkEvent(Type type, Bundle bundle, std::string message, std::exception_ptr thrown = nullptr)
        : type_(type), bundle_(std::move(bundle)), message_(std::move(message)), thrown_(std::move(thrown)) {}

    explicit operator bool() const noexcept { return type_ != 0; }
    Type GetType() const noexcept { return type_; }
    Bundle GetBundle() const { return bundle_; }
    std::string GetMessage() const { return message_; }
    /// Null when nothing was thrown.
    std::exception_ptr GetThrowable() const { return thrown_; }

  private:
    Type type_{};
    Bundle bundle_;
    std::string message_;
    std::exception_ptr thrown_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
