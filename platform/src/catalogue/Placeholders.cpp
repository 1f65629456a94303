#include "catalogue/Placeholders.hpp"

#include <fmt/args.h>
#include <fmt/format.h>

namespace varnek::catalogue {
namespace {

struct Plain {
    std::string_view text;
};

} // namespace
} // namespace varnek::catalogue

/// Refuses every format specification: a width in a translation could ask for any amount of memory.
template <>
struct fmt::formatter<varnek::catalogue::Plain> {
    constexpr auto parse(format_parse_context& context) {
        if (context.begin() != context.end() && *context.begin() != '}')
            throw format_error("no specification is allowed");
        return context.begin();
    }
    template <class Context>
    auto format(const varnek::catalogue::Plain& plain, Context& context) const {
        return std::copy(plain.text.begin(), plain.text.end(), context.out());
    }
};

namespace varnek::catalogue {

std::optional<std::string> filledIn(std::string_view text, const Arguments& arguments) {
    fmt::dynamic_format_arg_store<fmt::format_context> store;
    for (const std::string& argument : arguments)
        store.push_back(Plain{argument});
    try {
        return fmt::vformat(fmt::string_view(text.data(), text.size()), store);
    } catch (const fmt::format_error&) {
        return std::nullopt;
    }
}

} // namespace varnek::catalogue
