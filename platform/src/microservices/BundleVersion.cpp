#include "cppmicroservices/BundleVersion.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace {

[[noreturn]] void refuse(const std::string& version) {
    throw std::invalid_argument("\"" + version + "\" is no version: major[.minor[.micro[.qualifier]]]");
}

bool isQualifier(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
               c == '-';
    });
}

} // namespace

BundleVersion::BundleVersion(unsigned major, unsigned minor, unsigned micro, std::string qualifier)
    : major_(major), minor_(minor), micro_(micro), qualifier_(std::move(qualifier)) {
    if (!qualifier_.empty() && !isQualifier(qualifier_))
        refuse(qualifier_);
}

BundleVersion::BundleVersion(const std::string& version) {
    const char *position = version.data(), *const end = position + version.size();
    for (unsigned* number : {&major_, &minor_, &micro_}) {
        const auto [next, error] = std::from_chars(position, end, *number);
        if (error != std::errc() || (next != end && *next != '.'))
            refuse(version);
        if (next == end)
            return;
        position = next + 1;
    }
    qualifier_.assign(position, end);
    if (!isQualifier(qualifier_))
        refuse(version);
}

std::string BundleVersion::ToString() const {
    const std::string numbers =
        std::to_string(major_) + "." + std::to_string(minor_) + "." + std::to_string(micro_);
    return qualifier_.empty() ? numbers : numbers + "." + qualifier_;
}

} // namespace varnek_platform
} // namespace cppmicroservices
