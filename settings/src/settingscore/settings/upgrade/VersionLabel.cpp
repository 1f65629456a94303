#include "settingscore/upgrade/VersionLabel.hpp"

#include "varnek/files/PathText.hpp"
#include "varnek/release/Release.hpp"

namespace settings::core {

VersionLabel::VersionLabel(const std::string& text) : text_(varnek::files::messageUtf16(text)) {}

std::string VersionLabel::utf8() const {
    return varnek::files::messageUtf8(text_);
}

int VersionLabel::age() const noexcept {
    const auto label = varnek::release::ReleaseLabel::parse(text_);
    return label ? 2 * label->year() + static_cast<int>(label->half()) : -1;
}

} // namespace settings::core
