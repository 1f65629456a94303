#include "microservices/FilterNode.hpp"

#include <algorithm>
#include <stdexcept>

namespace cppmicroservices {
inline namespace varnek_platform {
namespace detail {
namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";

class Parser {
  public:
    explicit Parser(std::string_view text) noexcept : rest_(text) {}

    FilterNode whole() {
        skipBlanks();
        if (rest_.empty())
            refuse("Null query");
        FilterNode node = filter(0);
        skipBlanks();
        if (!rest_.empty())
            refuse("Trailing garbage: '" + std::string(rest_) + "'");
        return node;
    }

  private:
    [[noreturn]] void refuse(const std::string& what) const {
        throw std::invalid_argument(what + ": " + std::string(rest_));
    }
    void skipBlanks() { rest_.remove_prefix(std::min(rest_.size(), rest_.find_first_not_of(blanks))); }
    bool take(char c) {
        if (!rest_.starts_with(c))
            return false;
        rest_.remove_prefix(1);
        return true;
    }
    void require(char c) {
        if (rest_.empty())
            refuse("Unexpected end of query");
        if (!take(c))
            refuse("Malformed query");
    }

    FilterNode filter(int depth) {
        if (depth == deepestFilter)
            refuse("Malformed query");
        require('(');
        skipBlanks();
        FilterNode node;
        if (take('&'))
            node = combination(FilterNode::Kind::all, depth);
        else if (take('|'))
            node = combination(FilterNode::Kind::any, depth);
        else if (take('!'))
            node = combination(FilterNode::Kind::negation, depth);
        else
            node = comparison();
        require(')');
        return node;
    }

    FilterNode combination(FilterNode::Kind kind, int depth) {
        FilterNode node;
        node.kind = kind;
        do {
            skipBlanks();
            node.operands.push_back(filter(depth + 1));
            skipBlanks();
        } while (rest_.starts_with('(') && kind != FilterNode::Kind::negation);
        return node;
    }

    FilterNode comparison() {
        FilterNode node;
        const auto end = rest_.find_first_of("()<>=~");
        node.name = rest_.substr(0, end);
        node.name.erase(node.name.find_last_not_of(blanks) + 1);
        if (end == rest_.npos)
            refuse("Unexpected end of query");
        if (node.name.empty())
            refuse("Malformed query");
        rest_.remove_prefix(end);
        node.kind = comparisonOperator();
        value(node);
        return node;
    }

    FilterNode::Kind comparisonOperator() {
        if (take('='))
            return FilterNode::Kind::equal;
        if (rest_.size() >= 2 && rest_[1] == '=') {
            const char first = rest_.front();
            rest_.remove_prefix(2);
            if (first == '<')
                return FilterNode::Kind::lessOrEqual;
            if (first == '>')
                return FilterNode::Kind::greaterOrEqual;
            if (first == '~')
                return FilterNode::Kind::approximate;
        }
        refuse("Undefined operator");
    }

    void value(FilterNode& node) {
        node.pieces.emplace_back();
        int open = 0;
        while (open > 0 || !rest_.starts_with(')')) {
            if (rest_.empty())
                refuse("Unexpected end of query");
            if (node.kind == FilterNode::Kind::equal && take('*')) {
                node.pieces.emplace_back();
                continue;
            }
            character(node.pieces.back(), open);
        }
    }

    void character(std::string& piece, int& open) {
        if (rest_.front() == '\\') {
            rest_.remove_prefix(1);
            if (rest_.empty())
                refuse("Unexpected end of query");
        } else {
            open += rest_.front() == '(' ? 1 : rest_.front() == ')' ? -1 : 0;
        }
        piece += rest_.front();
        rest_.remove_prefix(1);
    }

    std::string_view rest_;
};

std::string escapedValue(const FilterNode& node) {
    std::string text;
    for (std::size_t i = 0; i < node.pieces.size(); ++i) {
        text += i == 0 ? "" : "*";
        for (const char c : node.pieces[i]) {
            if (c == '(' || c == ')' || c == '\\' || (c == '*' && node.kind == FilterNode::Kind::equal))
                text += '\\';
            text += c;
        }
    }
    return text;
}

} // namespace

FilterNode parseFilter(std::string_view text) {
    return Parser(text).whole();
}

std::string filterText(const FilterNode& node) {
    constexpr std::string_view symbols[] = {"&", "|", "!", "=", "<=", ">=", "~="};
    const std::string_view symbol = symbols[static_cast<std::size_t>(node.kind)];
    std::string text = "(";
    if (node.operands.empty())
        return text.append(node.name).append(symbol).append(escapedValue(node)).append(")");
    text += symbol;
    for (const FilterNode& operand : node.operands)
        text += filterText(operand);
    return text += ")";
}

} // namespace detail
} // namespace varnek_platform
} // namespace cppmicroservices
