// A refusal on its way from the place that finds the fault to the border of the library, where it gets the
// path of the package and becomes OpenError or WriteError.
#pragma once

#include "opc/PackageError.hpp"

#include <string>

namespace opc::detail {

struct Refusal {
    ErrorKind kind;
    std::string part; // with leading slash; empty: the package as a whole
    std::string cause;
};

template <class Error, class Work>
decltype(auto) atBorder(const std::filesystem::path& path, Work&& work) {
    try {
        return work();
    } catch (const Refusal& refusal) {
        throw Error(refusal.kind, path, refusal.part, refusal.cause);
    }
}

} // namespace opc::detail
