/// Diagnostic lines on named channels ("settings::core::settingsFile").
///
/// A channel is off until `VKSETTINGS_LOG=channel:level,...` or setLevel turns it on. The variable is read
/// once, on first use; a channel is named in full or as "*" for all, the levels are debug, info, warning,
/// error and off. While a channel is off, a log statement costs one relaxed atomic load: no record is opened
/// and no argument is evaluated.
///
///     static varnek::log::Channel channel("settings::core::settingsFile");
///     VARNEK_LOG(channel, info) << "Read settings file: " << path << " for level: " << level;
///
/// Thread-safe, and usable before main() and after the end of main(). Logging never throws; what the
/// arguments of an enabled statement throw while they are evaluated does reach the caller.
#pragma once

#include "varnek/Export.hpp"

#include <atomic>
#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>

namespace varnek::log {

enum class Severity : std::uint8_t { debug = 0, info = 1, warning = 2, error = 3, off = 4 };

namespace detail {

/// What channels of one name share. Never destroyed.
struct ChannelState {
    std::string name;
    std::atomic<std::uint8_t> level;
};

} // namespace detail

/// One named channel. Objects of one name share their level. Meant to have static storage; logging through it
/// before its construction does nothing, after its destruction it still works.
class VARNEK_EXPORT Channel {
  public:
    /// `name` is UTF-8. A channel that finds no memory for its state stays off.
    explicit Channel(std::string_view name) noexcept;
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;
    ~Channel() = default;

    const std::string& name() const noexcept;
    bool enabled(Severity severity) const noexcept {
        return state_ != nullptr &&
               static_cast<std::uint8_t>(severity) >= state_->level.load(std::memory_order_relaxed);
    }
    /// Writes one line to the sink; control characters in the text and bytes that are no UTF-8 are escaped.
    /// Does nothing while disabled.
    void write(Severity severity, std::string_view text) const noexcept;

  private:
    const detail::ChannelState* state_;
};

/// Turns a channel (also one that does not exist yet) on from `severity` upwards; `off` turns it off. The
/// name "*" sets every channel, those to come included.
VARNEK_EXPORT void setLevel(std::string_view channel, Severity severity);

/// Receives every line of an enabled channel. Called on the logging thread with no lock of this library held;
/// an exception that leaves it is dropped, and so are the lines that it logs itself.
using Sink = std::function<void(std::string_view channel, Severity severity, std::string_view text)>;

/// Replaces the sink and returns the one before, empty for the default; an empty sink restores the default,
/// which writes through Boost.Log to standard error. A call of the old sink may still be running on another
/// thread.
VARNEK_EXPORT Sink setSink(Sink sink);

/// One line under construction; written when it goes out of scope. UTF-16 texts are shown as UTF-8, numbers
/// without grouping whatever the global locale.
class VARNEK_EXPORT Record {
  public:
    Record(const Channel& channel, Severity severity);
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    ~Record();

    template <class T>
    Record& operator<<(const T& value) {
        text_ << value;
        return *this;
    }
    Record& operator<<(const char* value);
    Record& operator<<(std::u16string_view value);
    Record& operator<<(const std::u16string& value) { return *this << std::u16string_view(value); }
    Record& operator<<(const char16_t* value) { return *this << std::u16string_view(value); }
    Record& operator<<(bool value) { return *this << (value ? "true" : "false"); }

  private:
    const Channel& channel_;
    Severity severity_;
    std::ostringstream text_;
};

namespace detail {

/// Makes a log statement an expression without value, so that it stands anywhere a statement may.
struct Statement {
    void operator&(const Record&) const noexcept {}
};

} // namespace detail

} // namespace varnek::log

#define VARNEK_LOG(channel, severity_)                                                                       \
    !(channel).enabled(::varnek::log::Severity::severity_)                                                   \
        ? static_cast<void>(0)                                                                               \
        : ::varnek::log::detail::Statement() &                                                               \
              ::varnek::log::Record((channel), ::varnek::log::Severity::severity_)
