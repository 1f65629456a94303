#include "microservices/FilterNode.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <concepts>
#include <limits>
#include <list>
#include <optional>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

using Kind = FilterNode::Kind;

/// Lower case, without blanks.
std::string simplified(std::string_view text) {
    std::string result;
    for (const char c : text)
        if (c != ' ' && (c < '\t' || c > '\r'))
            result += static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return result;
}

/// The value of a comparison with its wildcards written again, for the operators and types that know none.
std::string plainValue(const FilterNode& node) {
    std::string value = node.pieces.front();
    for (std::size_t i = 1; i < node.pieces.size(); ++i)
        value.append("*").append(node.pieces[i]);
    return value;
}

/// Each piece is taken at its first place behind the one before, so time is linear in practice and never
/// worse than the product of both lengths.
bool matchesPattern(std::string_view text, const std::vector<std::string>& pieces) {
    if (pieces.size() == 1)
        return text == pieces.front();
    if (!text.starts_with(pieces.front()))
        return false;
    text.remove_prefix(pieces.front().size());
    for (std::size_t i = 1; i + 1 < pieces.size(); ++i) {
        const auto found = text.find(pieces[i]);
        if (found == text.npos)
            return false;
        text.remove_prefix(found + pieces[i].size());
    }
    return text.ends_with(pieces.back());
}

bool matchesText(const FilterNode& node, std::string_view text) {
    switch (node.kind) {
    case Kind::equal:
        return matchesPattern(text, node.pieces);
    case Kind::lessOrEqual:
        return text <= plainValue(node);
    case Kind::greaterOrEqual:
        return text >= plainValue(node);
    default:
        return simplified(text) == simplified(plainValue(node));
    }
}

/// How the value of the property compares with the value of the filter; empty when they cannot be compared.
using Order = std::optional<int>; // negative: less

bool matchesOrder(Kind kind, Order order) {
    if (!order)
        return false;
    if (kind == Kind::lessOrEqual)
        return *order <= 0;
    return kind == Kind::greaterOrEqual ? *order >= 0 : *order == 0;
}

template <class Number>
struct Prefix {
    Number number = 0;
    std::errc error;

    explicit Prefix(const std::string& text)
        : error(std::from_chars(text.data(), text.data() + text.size(), number).ec) {}
};

Order compare(double left, const std::string& text) {
    const Prefix<double> right(text);
    if (right.error != std::errc() || std::isnan(left) || std::isnan(right.number))
        return std::nullopt;
    if (left == right.number || std::abs(left - right.number) < std::numeric_limits<double>::epsilon())
        return 0;
    return left < right.number ? -1 : 1;
}

template <class Integer, class Right>
Order compareIntegers(Integer left, const Prefix<Right>& right, int whenOutOfRange) {
    if (right.error == std::errc::result_out_of_range)
        return whenOutOfRange;
    if (right.error != std::errc())
        return std::nullopt;
    return std::cmp_less(left, right.number) ? -1 : std::cmp_equal(left, right.number) ? 0 : 1;
}

template <std::integral Integer>
Order compare(Integer left, const std::string& text) {
    return text.starts_with('-') ? compareIntegers(left, Prefix<std::int64_t>(text), 1)
                                 : compareIntegers(left, Prefix<std::uint64_t>(text), -1);
}

bool matchesBool(const FilterNode& node, bool value) {
    return (node.kind == Kind::equal || node.kind == Kind::approximate) &&
           simplified(plainValue(node)) == (value ? "true" : "false");
}

template <class... Numbers>
bool matchesNumber(const FilterNode& node, const Any& value) {
    bool matched = false;
    const auto tryOne = [&](const auto* number) {
        matched =
            matched || (number != nullptr && matchesOrder(node.kind, compare(*number, plainValue(node))));
    };
    (tryOne(any_cast<Numbers>(&value)), ...);
    return matched;
}

bool matchesValue(const FilterNode& node, const Any& value);

template <class List>
bool matchesElement(const FilterNode& node, const Any& value) {
    const auto* list = any_cast<List>(&value);
    return list != nullptr &&
           std::ranges::any_of(*list, [&](const auto& element) { return matchesValue(node, element); });
}

bool matchesValue(const FilterNode& node, const Any& value) {
    if (const auto* text = any_cast<std::string>(&value))
        return matchesText(node, *text);
    if (const auto* text = any_cast<const char*>(&value))
        return *text != nullptr && matchesText(node, *text);
    if (const auto* character = any_cast<char>(&value))
        return matchesText(node, std::string_view(character, 1));
    if (const auto* boolean = any_cast<bool>(&value))
        return matchesBool(node, *boolean);
    return matchesElement<std::vector<std::string>>(node, value) ||
           matchesElement<std::list<std::string>>(node, value) ||
           matchesElement<std::vector<Any>>(node, value) ||
           matchesNumber<int, long, short, signed char, long long, unsigned, unsigned long, unsigned short,
                         unsigned char, unsigned long long>(node, value) ||
           matchesNumber<double>(node, value) ||
           (any_cast<float>(&value) != nullptr &&
            matchesNumber<double>(node, double(*any_cast<float>(&value))));
}

bool matchesProperty(const FilterNode& node, const AnyMap& properties, bool caseOfName) {
    const auto found = properties.find(node.name);
    if (found == properties.end() || (caseOfName && found->first != node.name))
        return false;
    return node.isPresence() || matchesValue(node, found->second);
}

} // namespace

bool matches(const FilterNode& node, const AnyMap& properties, bool caseOfNames) {
    const auto operandMatches = [&](const FilterNode& operand) {
        return matches(operand, properties, caseOfNames);
    };
    switch (node.kind) {
    case Kind::all:
        return std::ranges::all_of(node.operands, operandMatches);
    case Kind::any:
        return std::ranges::any_of(node.operands, operandMatches);
    case Kind::negation:
        return !operandMatches(node.operands.front());
    default:
        return matchesProperty(node, properties, caseOfNames);
    }
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
