#include "cppmicroservices/Any.h"

#include <cxxabi.h>

#include <cstdlib>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {

std::string demangled(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : type.name();
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
