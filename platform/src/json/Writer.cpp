#include "json/Writer.hpp"

#include "json/Limits.hpp"
#include "json/PathText.hpp"
#include "json/Quoting.hpp"
#include "json/Utf8.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace varnek::json {

std::string_view failureText(WriteFailure failure) noexcept {
    switch (failure) {
    case WriteFailure::tooLarge:
        return "the text would be too large";
    case WriteFailure::depth:
        return "the value is nested too deep";
    case WriteFailure::notFinite:
        return "NaN and infinities cannot be written as plain numbers";
    case WriteFailure::encoding:
        return "a string is not valid Unicode text";
    }
    return "unknown failure";
}

WriteError::WriteError(WriteFailure failure, std::string path)
    : failure_(failure), path_(std::move(path)),
      text_(std::string(failureText(failure)) + " (" + path_ + ')') {}

WriteError::~WriteError() = default;

namespace {

class Output {
  public:
    explicit Output(bool indented) : indented_(indented) {}

    std::string finish() && { return std::move(text_); }

    void add(const Value& value) {
        switch (value.kind()) {
        case Kind::null:
            text_ += "null";
            break;
        case Kind::boolean:
            text_ += value.asBool() ? "true" : "false";
            break;
        case Kind::int64:
            addNumber(value.asInt64());
            break;
        case Kind::uint64:
            addNumber(value.asUint64());
            break;
        case Kind::float64:
            if (!std::isfinite(value.asDouble()))
                fail(WriteFailure::notFinite);
            addNumber(value.asDouble());
            break;
        case Kind::string:
            addText(value.asString());
            break;
        case Kind::array:
            add(value.asArray());
            break;
        case Kind::object:
            add(value.asObject());
            break;
        }
        if (text_.size() > maximumTextSize)
            fail(WriteFailure::tooLarge);
    }

    void add(const Object& object) {
        begin('{');
        for (const Member& member : object) {
            steps_[depth_ - 1] = {&member, 0};
            separate(&member == object.begin(), indented_);
            addKey(member.key);
            text_ += indented_ ? ": " : ":";
            add(member.value);
        }
        end('}', indented_ && !object.empty());
    }

  private:
    /// The member or element that is being written in one of the open containers.
    struct Step {
        const Member* member;
        std::size_t index;
    };

    void add(const Array& array) {
        const bool lines = indented_ && std::any_of(array.begin(), array.end(), isContainer);
        begin('[');
        for (std::size_t i = 0; i < array.size(); ++i) {
            steps_[depth_ - 1] = {nullptr, i};
            separate(i == 0, lines);
            add(array[i]);
        }
        end(']', lines);
    }

    static bool isContainer(const Value& value) noexcept { return value.isArray() || value.isObject(); }

    void begin(char bracket) {
        if (depth_ == maximumDepth)
            fail(WriteFailure::depth);
        steps_[depth_++] = {nullptr, 0};
        text_ += bracket;
    }
    void end(char bracket, bool ownLine) {
        --depth_;
        if (ownLine)
            breakLine();
        text_ += bracket;
    }
    void separate(bool first, bool ownLine) {
        if (!first)
            text_ += indented_ && !ownLine ? ", " : ",";
        if (ownLine)
            breakLine();
    }
    void breakLine() {
        text_ += '\n';
        text_.append(2 * depth_, ' ');
    }

    template <class Number>
    void addNumber(Number number) {
        std::array<char, 32> digits;
        const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), number);
        text_.append(digits.data(), end);
    }
    void addText(std::string_view text) {
        if (!detail::appendQuoted(text_, text))
            fail(WriteFailure::encoding);
    }
    void addKey(std::string_view key) {
        if (detail::findInvalidUtf8(key) != std::string_view::npos)
            fail(WriteFailure::encoding);
        addText(key);
    }

    [[noreturn]] void fail(WriteFailure failure) const {
        std::string path = "$";
        for (std::size_t i = 0; i < depth_; ++i) {
            if (steps_[i].member != nullptr)
                detail::appendKey(path, steps_[i].member->key);
            else
                detail::appendIndex(path, steps_[i].index);
        }
        throw WriteError(failure, std::move(path));
    }

    std::string text_;
    std::array<Step, maximumDepth> steps_;
    std::size_t depth_ = 0;
    bool indented_;
};

} // namespace

std::string write(const Value& value) {
    Output output(false);
    output.add(value);
    return std::move(output).finish();
}

std::string write(const Object& object) {
    Output output(false);
    output.add(object);
    return std::move(output).finish();
}

std::string writeIndented(const Value& value) {
    Output output(true);
    output.add(value);
    return std::move(output).finish();
}

} // namespace varnek::json
