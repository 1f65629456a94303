#include "varnek/release/Release.hpp"

#include <stdexcept>

namespace varnek::release {
namespace {

constexpr int years = 10'000; // four digits
constexpr std::size_t labelLength = 6;

template <class Char>
std::optional<ReleaseLabel> parseLabel(std::basic_string_view<Char> text) noexcept {
    if (text.size() != labelLength || text.front() != 'R' || (text.back() != 'a' && text.back() != 'b'))
        return std::nullopt;
    int year = 0;
    for (const Char digit : text.substr(1, 4)) {
        if (digit < '0' || digit > '9')
            return std::nullopt;
        year = year * 10 + static_cast<int>(digit - '0');
    }
    return ReleaseLabel(year, text.back() == 'a' ? ReleaseLabel::Half::a : ReleaseLabel::Half::b);
}

} // namespace

ReleaseLabel::ReleaseLabel(int year, Half half) : year_(year), half_(half) {
    if (year < 0 || year >= years)
        throw std::invalid_argument("a release label has a year of four digits");
}

std::optional<ReleaseLabel> ReleaseLabel::parse(std::string_view text) noexcept {
    return parseLabel(text);
}
std::optional<ReleaseLabel> ReleaseLabel::parse(std::u16string_view text) noexcept {
    return parseLabel(text);
}

std::string ReleaseLabel::text() const {
    const std::string year = std::to_string(year_);
    return "R" + std::string(4 - year.size(), '0') + year + (half_ == Half::a ? 'a' : 'b');
}

ReleaseLabel ReleaseLabel::previous() const {
    if (half_ == Half::b)
        return {year_, Half::a};
    if (year_ == 0)
        throw std::out_of_range("no release comes before " + text());
    return {year_ - 1, Half::b};
}

const ReleaseInfo& getCurrentVARNEKReleaseInfo() {
    static const auto* const info = new ReleaseInfo{"VARNEK", {2025, ReleaseLabel::Half::a}, "25.1.0"};
    return *info;
}

} // namespace varnek::release
