#include "Words.hpp"

#include <algorithm>
#include <stdexcept>

namespace vksettings {

namespace {

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// What the shell and wordsOf() read as it stands.
bool isPlain(char c) {
    return static_cast<unsigned char>(c) >= 0x80 || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
           (c >= 'A' && c <= 'Z') || std::string_view("_-./:,+@%=").find(c) != std::string_view::npos;
}

class Scanner {
  public:
    explicit Scanner(std::string_view line) {
        for (const char c : line)
            if (!isComment_)
                take(c);
    }

    std::vector<std::string> finished() && {
        if (isEscaped_)
            throw std::invalid_argument("nothing follows the backslash at the end of the line");
        if (quote_ != 0)
            throw std::invalid_argument(std::string("the quote ") + quote_ + " is not closed");
        endWord();
        return std::move(words_);
    }
    BegunLine begun() && { return {std::move(words_), std::move(word_), quote_}; }

  private:
    void take(char c) {
        if (isEscaped_) {
            if (quote_ == '"' && c != '"' && c != '\\')
                word_ += '\\';
            add(c);
            isEscaped_ = false;
        } else if (c == '\\' && quote_ != '\'') {
            isEscaped_ = isWord_ = true;
        } else if (quote_ != 0) {
            c == quote_ ? void(quote_ = 0) : add(c);
        } else if (c == '"' || c == '\'') {
            quote_ = c;
            isWord_ = true; // also when nothing stands in it
        } else if (isSpace(c)) {
            endWord();
        } else if (c == '#' && !isWord_) {
            isComment_ = true;
        } else {
            add(c);
        }
    }
    void add(char c) {
        word_ += c;
        isWord_ = true;
    }
    void endWord() {
        if (isWord_)
            words_.push_back(std::move(word_));
        word_.clear();
        isWord_ = false;
    }

    std::vector<std::string> words_;
    std::string word_;
    bool isWord_ = false;
    bool isEscaped_ = false;
    bool isComment_ = false;
    char quote_ = 0;
};

} // namespace

std::vector<std::string> wordsOf(std::string_view line) {
    return Scanner(line).finished();
}

BegunLine begunLine(std::string_view line) {
    return Scanner(line).begun();
}

std::string quotedPart(std::string_view text, char quote) {
    std::string part;
    for (const char c : text) {
        if (quote == '\'' && c == '\'')
            part += "'\\'";
        else if (quote == '"' ? c == '"' || c == '\\' : quote == 0 && !isPlain(c))
            part += '\\';
        part += c;
    }
    return part;
}

std::string quotedWord(std::string_view text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), &isPlain))
        return std::string(text);
    return '\'' + quotedPart(text, '\'') + '\'';
}

} // namespace vksettings
