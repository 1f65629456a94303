// Any JSON text read as a typed value and as a plain one: refused with an error, or an array that its own
// form gives back unchanged.
#include "json/ArrayConversion.hpp"
#include "json/ParseError.hpp"
#include "json/Parser.hpp"
#include "json/Writer.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace {

using namespace varnek;

void checkForms(const data::Array& array) {
    const std::string typed = json::write(json::toTyped(array));
    if (json::fromTyped(json::parse(typed)) != array)
        std::abort();
    const auto plain = json::toPlain(array);
    if (plain && json::fromPlain(json::parse(json::write(*plain))) != array)
        std::abort();
}

template <class Convert>
void check(const json::Value& value, Convert convert) {
    try {
        checkForms(convert(value, "$"));
    } catch (const json::ConversionError& error) {
        if (!error.path().starts_with("$"))
            std::abort();
    } catch (const json::WriteError&) {
        // The usual form of an array may be nested deeper than the one that was read.
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        const json::Value value = json::parse({reinterpret_cast<const char*>(data), size});
        check(value, json::fromTyped);
        check(value, json::fromPlain);
    } catch (const json::ParseError&) {
        // Not the subject here.
    }
    return 0;
}
