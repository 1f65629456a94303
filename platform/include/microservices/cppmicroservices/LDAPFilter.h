/// A condition on properties, written as an LDAP filter: "(&(objectclass=KeyManager)(!(vendor=x*)))".
///
///     filter = "(" ( "&" filter+ | "|" filter+ | "!" filter | name op value ) ")"
///     op     = "=" | "<=" | ">=" | "~="
///
/// Blanks may stand before a filter and after its end, not inside a value. In a value "\" makes the next
/// character plain, "*" is a wildcard in "=", and parentheses stand in pairs. Filters nest at most 64 deep.
///
/// Texts are compared exactly, "<=" and ">=" by bytes, "~=" without case and blanks; lists match when an
/// element does; numbers as numbers; bool with "=" and "~=" to true or false in any case; other types only
/// with "(name=*)". What is absent never matches.
#pragma once

#include "cppmicroservices/AnyMap.h"
#include "varnek/Export.hpp"

#include <memory>
#include <string>

namespace cppmicroservices {
inline namespace varnek_platform {

class Bundle;
class ServiceReferenceBase;

namespace detail {
struct FilterNode;
} // namespace detail

/// Immutable and cheap to copy. The default-constructed filter is false and matches nothing.
class VARNEK_EXPORT LDAPFilter {
  public:
    LDAPFilter() noexcept = default;
    /// Throws std::invalid_argument: "Null query", "Malformed query", "Undefined operator", "Unexpected end
    /// of query" or "Trailing garbage", with the rest of the text.
    explicit LDAPFilter(const std::string& filter);

    explicit operator bool() const noexcept { return root_ != nullptr; }

    /// Names are compared without case.
    bool Match(const AnyMap& properties) const;
    bool Match(const ServiceReferenceBase& reference) const;
    bool Match(const Bundle& bundle) const;
    /// Names are compared with case.
    bool MatchCase(const AnyMap& properties) const;

    /// The normalised text, without optional blanks; empty for the default-constructed filter.
    std::string ToString() const;
    friend VARNEK_EXPORT bool operator==(const LDAPFilter& a, const LDAPFilter& b);

  private:
    std::shared_ptr<const detail::FilterNode> root_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
