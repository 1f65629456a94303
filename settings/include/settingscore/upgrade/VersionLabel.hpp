/// The label of a release as files carry it, and its place in time.
#pragma once

#include "settingscore/Export.hpp"

#include <compare>
#include <string>

namespace settings::core {

/// Any text. "R" with a year of four digits and "a" or "b" ("R2025a") is ordered by year and letter; every
/// other text is older than those. A value.
class SETTINGSCORE_EXPORT VersionLabel {
  public:
    VersionLabel() = default;
    explicit VersionLabel(std::u16string text) : text_(std::move(text)) {}
    /// UTF-8.
    explicit VersionLabel(const std::string& text);

    const std::u16string& text() const noexcept { return text_; }
    /// For messages and file names.
    std::string utf8() const;
    bool isReadable() const noexcept { return age() >= 0; }

    bool operator==(const VersionLabel&) const = default;
    /// By age; labels that cannot be read are equivalent.
    friend std::weak_ordering operator<=>(const VersionLabel& a, const VersionLabel& b) noexcept {
        return a.age() <=> b.age();
    }

  private:
    int age() const noexcept; // half years since R0000a; -1: unreadable

    std::u16string text_;
};

} // namespace settings::core
