#include "json/Parser.hpp"

#include "json/EventParserText.hpp"
#include "json/Limits.hpp"
#include "json/ParseError.hpp"
#include "json/Utf8.hpp"
#include "json/ValueBuilder.hpp"

#include <boost/json/basic_parser_impl.hpp>

#include <variant>

namespace varnek::json {

namespace {

constexpr std::string_view whiteSpace = " \t\n\r";

struct Failure {
    ParseFailure kind;
    std::size_t offset;
    std::string path;
};

using EventParser = boost::json::basic_parser<detail::ValueBuilder>;

/// Which rule the event parser's error stands for.
ParseFailure classify(const detail::ValueBuilder& builder, boost::json::error_code code,
                      std::string_view text, std::size_t offset) {
    if (builder.failure())
        return *builder.failure();
    if (code == boost::json::error::too_deep)
        return ParseFailure::depth;
    if (code == boost::json::error::exponent_overflow)
        return ParseFailure::numberRange;
    if (code == boost::json::error::incomplete || offset >= text.size())
        return ParseFailure::earlyEnd;
    if (builder.isAfterMember()) {
        // The parser reports no event for a comma: what it accepted last tells whether there was one.
        const std::size_t last = text.substr(0, offset).find_last_not_of(whiteSpace);
        if (text[last] != ',')
            return ParseFailure::memberSeparator;
    }
    return ParseFailure::syntax;
}

std::variant<Value, Failure> tryToParse(std::string_view text, bool prepared) {
    boost::json::parse_options options;
    options.max_depth = maximumDepth;
    options.allow_invalid_utf8 = true; // checked before; a prepared text holds surrogates
    EventParser parser(options, prepared);
    boost::json::error_code code;
    const std::size_t offset = parser.write_some(false, text.data(), text.size(), code);
    const detail::ValueBuilder& builder = parser.handler();
    if (code)
        return Failure{classify(builder, code, text, offset), offset, builder.path()};
    if (offset != text.size())
        return Failure{ParseFailure::trailingText, offset, "$"};
    return parser.handler().takeResult();
}

void checkEncoding(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark))
        throw ParseError(ParseFailure::encoding, 0, "$", "the text begins with a byte-order mark");
    const std::size_t offset = detail::findInvalidUtf8(text);
    if (offset != std::string_view::npos)
        throw ParseError(ParseFailure::encoding, offset, "$");
}

[[noreturn]] void refuse(const Failure& failure, std::size_t offset) {
    // The bytes were checked before.
    const bool isKey = failure.kind == ParseFailure::encoding;
    throw ParseError(failure.kind, offset, failure.path, isKey ? "half a surrogate pair in a key" : "");
}

Value parseChecked(std::string_view text) {
    auto result = tryToParse(text, false);
    if (const Failure* failure = std::get_if<Failure>(&result)) {
        // Rare, so tried only now: the text may be sound and merely beyond the event parser.
        const detail::EventParserText prepared(text);
        if (!prepared.differs())
            refuse(*failure, failure->offset);
        result = tryToParse(prepared.text(), true);
        if (failure = std::get_if<Failure>(&result); failure != nullptr)
            refuse(*failure, prepared.originalOffset(failure->offset));
    }
    return std::get<Value>(std::move(result));
}

void checkBeforeParsing(std::string_view text) {
    if (text.size() > maximumTextSize)
        throw ParseError(ParseFailure::tooLarge, maximumTextSize, "$");
    checkEncoding(text);
}

} // namespace

Value parse(std::string_view text) {
    checkBeforeParsing(text);
    return parseChecked(text);
}

Object parseObject(std::string_view text) {
    checkBeforeParsing(text);
    const std::size_t start = text.find_first_not_of(whiteSpace);
    if (start != std::string_view::npos && text[start] != '{')
        throw ParseError(ParseFailure::objectStart, start, "$");
    return std::move(parseChecked(text).asObject());
}

} // namespace varnek::json
