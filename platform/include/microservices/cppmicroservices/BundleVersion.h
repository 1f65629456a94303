/// The version of a bundle: major[.minor[.micro[.qualifier]]].
#pragma once

#include "varnek/Export.hpp"

#include <compare>
#include <string>

namespace cppmicroservices {
inline namespace varnek_platform {

/// Immutable. Ordered by number, then by the bytes of the qualifier.
class VARNEK_EXPORT BundleVersion {
  public:
    BundleVersion(unsigned major, unsigned minor, unsigned micro, std::string qualifier = {});
    /// Throws std::invalid_argument for any other text; the qualifier is made of letters, digits, "_" and
    /// "-".
    explicit BundleVersion(const std::string& version);

    unsigned GetMajor() const noexcept { return major_; }
    unsigned GetMinor() const noexcept { return minor_; }
    unsigned GetMicro() const noexcept { return micro_; }
    std::string GetQualifier() const { return qualifier_; }
    std::string ToString() const;

    auto operator<=>(const BundleVersion&) const = default; // NOLINT(modernize-use-nullptr)

  private:
    unsigned major_ = 0, minor_ = 0, micro_ = 0;
    std::string qualifier_;
};

} // namespace varnek_platform
} // namespace cppmicroservices
