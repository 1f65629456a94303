#include "spf/Journal.hpp"

#include "spf/SerialThread.hpp"

namespace varnek::spf {

log::Channel journal("varnek::spf");

namespace detail {

void writeAside(log::Severity severity, std::string text) noexcept {
    constexpr std::size_t mostLines = 1000;
    try {
        static auto* const writer = new SerialThread("varnek-spf-log", mostLines); // never destroyed
        writer->post([severity, text = std::move(text)] { journal.write(severity, text); });
    } catch (...) { // no memory, or no thread: no line
    }
}

} // namespace detail
} // namespace varnek::spf
