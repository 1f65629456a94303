// Any text: refused with an error, or a value that survives both layouts of the writer unchanged.
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

using namespace varnek;

std::optional<json::Value> parsed(std::string_view text) {
    try {
        return json::parse(text);
    } catch (const json::ParseError& error) {
        if (error.offset() > text.size())
            std::abort();
        return std::nullopt;
    }
}

bool isObject(std::string_view text) {
    try {
        static_cast<void>(json::parseObject(text));
        return true;
    } catch (const json::ParseError&) {
        return false;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto value = parsed(text);
    if (isObject(text) != (value && value->isObject()))
        std::abort();
    if (!value)
        return 0;
    const std::string written = json::write(*value);
    if (json::parse(written) != *value || json::write(json::parse(written)) != written)
        std::abort();
    if (json::parse(json::writeIndented(*value)) != *value)
        std::abort();
    return 0;
}
