#include "settingscore/factoryfile/InexactIntegers.hpp"

#include "settingscore/settings/file/JsonPath.hpp"
#include "json/Parser.hpp"

#include <array>
#include <charconv>
#include <variant>

namespace varnek::settings {

namespace {

/// All digits of a whole double.
std::string digitsOf(double whole) {
    std::array<char, 320> digits{}; // the largest has 309 and a sign
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), whole, std::chars_format::fixed, 0).ptr;
    return {digits.data(), end};
}

/// Goes through the tokens; a path is put together only for a number that counts.
class Scan {
  public:
    explicit Scan(std::string_view text) : text_(text) {}

    std::vector<InexactInteger> run() {
        while (at_ < text_.size())
            step();
        return std::move(found_);
    }

  private:
    using Step = std::variant<std::string_view, std::size_t>; // a key with its quotes, or an index

    void step() {
        const char c = text_[at_];
        if (c == '"') {
            const std::string_view token = string();
            if (!places_.empty() && isKeyDue_)
                places_.back() = token;
            isKeyDue_ = false;
            return;
        }
        if (c == '-' || (c >= '0' && c <= '9'))
            return number();
        ++at_;
        if (c == '{')
            places_.emplace_back(std::string_view());
        else if (c == '[')
            places_.emplace_back(std::size_t{0});
        else if ((c == '}' || c == ']') && !places_.empty())
            places_.pop_back();
        else if (c == ',' && !places_.empty())
            if (auto* index = std::get_if<std::size_t>(&places_.back()))
                ++*index;
        if (c == '{' || c == ',')
            isKeyDue_ = !places_.empty() && std::holds_alternative<std::string_view>(places_.back());
    }

    std::string_view string() {
        const std::size_t start = at_++;
        while (at_ < text_.size() && text_[at_] != '"')
            at_ += text_[at_] == '\\' ? 2 : 1;
        ++at_;
        return text_.substr(start, at_ - start);
    }

    void number() {
        const std::size_t start = at_;
        at_ = std::min(text_.find_first_not_of("+-.0123456789Ee", at_), text_.size());
        const std::string_view token = text_.substr(start, at_ - start);
        constexpr std::size_t alwaysExact = 15; // digits
        if (token.size() <= alwaysExact || token.find_first_of(".eE") != std::string_view::npos)
            return;
        double value = 0;
        std::from_chars(token.data(), token.data() + token.size(), value);
        std::string asDouble = digitsOf(value);
        if (asDouble != token)
            found_.push_back({path(), std::string(token), std::move(asDouble)});
    }

    std::string path() const {
        using namespace ::settings::core::detail;
        std::string path = "$";
        for (const Step& place : places_)
            if (const auto* index = std::get_if<std::size_t>(&place))
                path = elementPath(path, *index);
            else
                path = memberPath(path, json::parse(std::get<std::string_view>(place)).asString());
        return path;
    }

    const std::string_view text_;
    std::size_t at_ = 0;
    std::vector<Step> places_;
    bool isKeyDue_ = false;
    std::vector<InexactInteger> found_;
};

} // namespace

std::vector<InexactInteger> inexactIntegers(std::string_view json) {
    return Scan(json).run();
}

} // namespace varnek::settings
