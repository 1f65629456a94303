/// Integers in JSON texts that become other numbers when they are read as doubles.
#pragma once

#include "settingscore/Export.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace varnek::settings {

struct InexactInteger {
    std::string path;     ///< "$.settings[3].value"
    std::string digits;   ///< as they are written
    std::string asDouble; ///< all digits of the nearest double

    friend bool operator==(const InexactInteger&, const InexactInteger&) = default;
};

/// In the order of the text; numbers with a fraction or an exponent are doubles by their looks and do not
/// count. `json` is a text that the parser accepts; of any other one the result means nothing. Thread-safe.
SETTINGSCORE_EXPORT std::vector<InexactInteger> inexactIntegers(std::string_view json);

} // namespace varnek::settings
