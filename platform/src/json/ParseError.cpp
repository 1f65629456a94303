#include "json/ParseError.hpp"

namespace varnek::json {

std::string_view failureText(ParseFailure failure) noexcept {
    switch (failure) {
    case ParseFailure::tooLarge:
        return "the text is too large";
    case ParseFailure::syntax:
        return "syntax error";
    case ParseFailure::depth:
        return "the value is nested too deep";
    case ParseFailure::duplicateKey:
        return "a key stands twice in one object";
    case ParseFailure::numberRange:
        return "the number is too large";
    case ParseFailure::encoding:
        return "the text is not UTF-8";
    case ParseFailure::objectStart:
        return "an object must begin with \"{\"";
    case ParseFailure::memberSeparator:
        return "a member of an object must be followed by \",\" or \"}\"";
    case ParseFailure::earlyEnd:
        return "the text ends too early";
    case ParseFailure::trailingText:
        return "something follows the value";
    }
    return "unknown failure";
}

ParseError::ParseError(ParseFailure failure, std::size_t offset, std::string path, std::string_view words)
    : failure_(failure), offset_(offset), path_(std::move(path)),
      text_(std::string(words.empty() ? failureText(failure) : words) + ", at byte " +
            std::to_string(offset) + " (" + path_ + ')') {}

ParseError::~ParseError() = default;

} // namespace varnek::json
