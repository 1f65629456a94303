#include "opc/NameRules.hpp"

#include "opc/Limits.hpp"
#include "opc/PartName.hpp"
#include "opc/Refusal.hpp"
#include "varnek/files/PathText.hpp"
#include "varnek/log/Channel.hpp"

namespace opc {
namespace detail {
namespace {

varnek::log::Channel channel("opc::model::package");

/// Calls `check` with each segment after the leading separator until one has a fault; returns it.
template <class Check>
const char* eachSegment(std::string_view name, std::string_view separators, Check check) {
    for (std::size_t begin = 1; begin <= name.size();) {
        const std::size_t end = std::min(name.find_first_of(separators, begin), name.size());
        if (const char* fault = check(name.substr(begin, end - begin)))
            return fault;
        begin = end + 1;
    }
    return nullptr;
}

const char* dotFault(std::string_view segment) {
    if (segment.empty())
        return "the name has an empty segment";
    return segment == "." || segment == ".." ? "the name has a dot segment" : nullptr;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string percentDecoded(std::string_view name) {
    std::string decoded;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool escape = name[i] == '%' && i + 2 < name.size();
        const int high = escape ? hexDigit(name[i + 1]) : -1, low = escape ? hexDigit(name[i + 2]) : -1;
        if (high >= 0 && low >= 0) {
            decoded += static_cast<char>(high << 4 | low);
            i += 2;
        } else {
            decoded += name[i];
        }
    }
    return decoded;
}

/// What is wrong with a name, or null.
const char* faultIn(std::string_view name) {
    if (!name.starts_with('/') || name.size() < 2)
        return "the name is empty";
    for (const char c : name)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '\\' || c == ':')
            return "the name has a backslash, a colon or a control character";
    if (!varnek::files::isUtf8(name))
        return "the name is not well-formed UTF-8";
    const char* fault = eachSegment(name, "/", [](std::string_view segment) {
        const char* dots = dotFault(segment);
        return !dots && segment.ends_with('.') ? "the name has a segment that ends with a dot" : dots;
    });
    if (fault || name.find('%') == name.npos)
        return fault;
    // Other tools may decode the name and only then look for separators.
    const std::string decoded = percentDecoded(name);
    if (decoded.find('\0') != decoded.npos)
        return "the name has an encoded NUL";
    return eachSegment(decoded, "/\\", dotFault);
}

std::string foldedCase(std::string_view name) {
    std::string folded(name);
    for (char& c : folded)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    return folded;
}

/// Order in which whatever lies below a name follows it at once.
bool before(const NamedEntry& a, const NamedEntry& b) {
    const auto rank = [](char c) { return c == '/' ? 0 : static_cast<unsigned char>(c); };
    return std::lexicographical_compare(a.name.begin(), a.name.end(), b.name.begin(), b.name.end(),
                                        [&](char x, char y) { return rank(x) < rank(y); });
}

void logCaseClashes(const std::vector<NamedEntry>& entries) {
    if (!channel.enabled(varnek::log::Severity::warning))
        return;
    std::vector<std::string> folded;
    for (const NamedEntry& entry : entries)
        folded.push_back(foldedCase(entry.name));
    std::sort(folded.begin(), folded.end());
    for (auto same = folded.begin(); (same = std::adjacent_find(same, folded.end())) != folded.end(); ++same)
        VARNEK_LOG(channel, warning) << "Parts of a package differ only by case: " << *same;
}

} // namespace

void checkName(std::string_view name) {
    if (name.size() > limits::nameBytes + 1)
        throw Refusal{ErrorKind::limitExceeded, std::string(name),
                      "the name is longer than " + std::to_string(limits::nameBytes) + " bytes"};
    if (const char* fault = faultIn(name))
        throw Refusal{ErrorKind::unsafeName, std::string(name), fault};
}

std::string checkedName(std::u16string_view name) {
    std::optional<std::string> text = varnek::files::utf8FromUtf16(name);
    if (!text)
        throw Refusal{ErrorKind::unsafeName, {}, "a part name has an unpaired surrogate"};
    if (!text->starts_with('/'))
        throw Refusal{ErrorKind::unsafeName, *text, "the name is not absolute"};
    checkName(*text);
    return *std::move(text);
}

bool isOwnName(std::string_view name) noexcept {
    const std::size_t slash = name.rfind('/');
    return name == contentTypesName || (name.ends_with(".rels") && name.substr(0, slash).ends_with("/_rels"));
}

void checkNamesTogether(std::vector<NamedEntry> entries) {
    std::sort(entries.begin(), entries.end(), before);
    for (std::size_t i = 1; i < entries.size(); ++i) {
        const NamedEntry &first = entries[i - 1], &second = entries[i];
        if (first.name == second.name)
            throw Refusal{ErrorKind::duplicatePart, std::string(first.name), "the name occurs twice"};
        if (!first.folder && second.name.starts_with(first.name) && second.name[first.name.size()] == '/')
            throw Refusal{ErrorKind::duplicatePart, std::string(first.name),
                          "the part has the name of a folder"};
    }
    logCaseClashes(entries);
}

} // namespace detail

bool isSafePartName(std::u16string_view name) {
    try {
        detail::checkedName(name);
        return true;
    } catch (const detail::Refusal&) {
        return false;
    }
}

} // namespace opc
