/// Shows the kinds of failures in a failing comparison.
#pragma once

#include "json/ParseError.hpp"
#include "json/Writer.hpp"

#include <ostream>

namespace varnek::json {

inline void PrintTo(ParseFailure failure, std::ostream* out) {
    *out << failureText(failure);
}

inline void PrintTo(WriteFailure failure, std::ostream* out) {
    *out << failureText(failure);
}

} // namespace varnek::json
