/// A filter as a tree.
#pragma once

#include "cppmicroservices/AnyMap.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

/// Immutable once parsed.
struct FilterNode {
    enum class Kind : std::uint8_t { all, any, negation, equal, lessOrEqual, greaterOrEqual, approximate };

    Kind kind = Kind::all;
    std::vector<FilterNode> operands; // of all, any (one or more) and negation (one)
    std::string name;                 // of the comparisons, as is the next
    std::vector<std::string> pieces;  // of the value, between its wildcards; one if it has none

    bool isPresence() const { return kind == Kind::equal && pieces == std::vector<std::string>{"", ""}; }
};

constexpr int deepestFilter = 64;

/// Throws std::invalid_argument as LDAPFilter does.
FilterNode parseFilter(std::string_view text);

std::string filterText(const FilterNode& node);

bool matches(const FilterNode& node, const AnyMap& properties, bool caseOfNames);

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
