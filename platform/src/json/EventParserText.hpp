/// Prepares texts that the event parser would refuse although they are sound.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnek::json::detail {

/// A text in which surrogate escapes without partner have become their three bytes of generalised UTF-8, and
/// exponents of more than nine digits have become 999999999. The event parser knows neither.
class EventParserText {
  public:
    explicit EventParserText(std::string_view original);

    bool differs() const noexcept { return !removals_.empty(); }
    /// Empty when nothing differs.
    std::string_view text() const noexcept { return text_; }
    /// The offset in the original text of an offset in the prepared one.
    std::size_t originalOffset(std::size_t offset) const noexcept;

  private:
    // Each returns the offset in the original where the walk goes on.
    std::size_t prepareEscape(std::size_t backslash);
    std::size_t prepareExponent(std::size_t letter);
    std::size_t replace(std::size_t begin, std::size_t end, std::string_view by);

    std::string_view original_;
    std::size_t copied_ = 0; // bytes of the original that text_ stands for
    std::string text_;
    /// (offset in the prepared text, bytes removed before it)
    std::vector<std::pair<std::size_t, std::size_t>> removals_;
};

} // namespace varnek::json::detail
