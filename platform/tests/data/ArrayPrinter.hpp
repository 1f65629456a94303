/// Shows class and shape of an array in a failing comparison.
#pragma once

#include "varnek/data/Array.hpp"

#include <ostream>

namespace varnek::data {

inline void PrintTo(const Array& array, std::ostream* out) {
    *out << className(array.type()) << ' ' << dimensionsText(array);
}

} // namespace varnek::data
