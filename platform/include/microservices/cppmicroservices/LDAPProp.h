/// Writes filters as expressions: LDAPProp("a") == "x" && !(LDAPProp("n") >= 3) is "(&(a=x)(!(n>=3)))".
#pragma once

#include "cppmicroservices/LDAPFilter.h"
#include "varnek/Export.hpp"

#include <sstream>
#include <string>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {

/// Part of a filter; immutable.
class VARNEK_EXPORT LDAPPropExpr {
  public:
    explicit LDAPPropExpr(std::string text) : text_(std::move(text)) {}

    operator std::string() const { return text_; }
    operator LDAPFilter() const { return LDAPFilter(text_); }

    friend LDAPPropExpr operator!(const LDAPPropExpr& a) { return LDAPPropExpr("(!" + a.text_ + ")"); }
    friend LDAPPropExpr operator&&(const LDAPPropExpr& a, const LDAPPropExpr& b) {
        return LDAPPropExpr("(&" + a.text_ + b.text_ + ")");
    }
    friend LDAPPropExpr operator||(const LDAPPropExpr& a, const LDAPPropExpr& b) {
        return LDAPPropExpr("(|" + a.text_ + b.text_ + ")");
    }

  private:
    std::string text_;
};

/// The name of a property. Values are texts in the language of filters: "*" is a wildcard in ==.
class LDAPProp {
  public:
    explicit LDAPProp(std::string name) : name_(std::move(name)) {}

    template <class T>
    LDAPPropExpr operator==(const T& value) const {
        return expression("=", value);
    }
    template <class T>
    LDAPPropExpr operator!=(const T& value) const {
        return !expression("=", value);
    }
    template <class T>
    LDAPPropExpr operator>=(const T& value) const {
        return expression(">=", value);
    }
    template <class T>
    LDAPPropExpr operator<=(const T& value) const {
        return expression("<=", value);
    }
    /// Approximately equal.
    template <class T>
    LDAPPropExpr Approx(const T& value) const {
        return expression("~=", value);
    }
    /// Present.
    operator LDAPPropExpr() const { return expression("=", "*"); }
    LDAPPropExpr operator!() const { return !expression("=", "*"); }

  private:
    template <class T>
    LDAPPropExpr expression(const char* op, const T& value) const {
        std::ostringstream text;
        text << std::boolalpha << '(' << name_ << op << value << ')';
        return LDAPPropExpr(text.str());
    }

    std::string name_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
