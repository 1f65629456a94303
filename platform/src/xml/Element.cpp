#include "varnek/xml/Element.hpp"

#include "varnek/files/PathText.hpp"

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>

namespace varnek::xml {
namespace {

constexpr std::string_view blanks = " \t\r\n";

/// The character that "&...;" stands for, as UTF-8, or nothing.
std::optional<std::string> resolved(std::string_view entity) {
    constexpr std::pair<std::string_view, char> named[] = {
        {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& [name, character] : named)
        if (entity == name)
            return std::string(1, character);
    if (!entity.starts_with('#'))
        return std::nullopt;
    entity.remove_prefix(1);
    const int base = entity.starts_with('x') ? 16 : 10;
    if (base == 16)
        entity.remove_prefix(1);
    unsigned code = 0;
    const auto [end, fault] = std::from_chars(entity.data(), entity.data() + entity.size(), code, base);
    const bool control = code < 0x20 && code != '\t' && code != '\n' && code != '\r';
    if (fault != std::errc() || end != entity.data() + entity.size() || code > 0x10FFFF || control)
        return std::nullopt;
    std::u16string units;
    if (code < 0x10000)
        units += static_cast<char16_t>(code);
    else
        units = {static_cast<char16_t>(0xD7C0 + (code >> 10)),
                 static_cast<char16_t>(0xDC00 + (code & 0x3FF))};
    return files::utf8FromUtf16(units); // nothing for half of a surrogate pair
}

class TreeReader {
  public:
    explicit TreeReader(std::string_view text) : text_(text) {}

    Element read() {
        checkCharacters();
        constexpr unsigned flags = pugi::parse_cdata | pugi::parse_eol | pugi::parse_wconv_attribute |
                                   pugi::parse_declaration | pugi::parse_doctype | pugi::parse_fragment;
        pugi::xml_document document;
        const auto result = document.load_buffer(text_.data(), text_.size(), flags, pugi::encoding_utf8);
        if (!result)
            fail(static_cast<std::size_t>(result.offset), result.description());
        return element(rootOf(document), 1);
    }

  private:
    [[noreturn]] void fail(std::size_t offset, std::string_view cause) const {
        throw XmlError(lineAt(offset), cause);
    }
    [[noreturn]] void fail(pugi::xml_node node, std::string_view cause) const {
        fail(static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0)), cause);
    }

    std::size_t lineAt(std::size_t offset) const {
        const auto head = text_.substr(0, offset);
        return 1 + static_cast<std::size_t>(std::count(head.begin(), head.end(), '\n'));
    }

    void checkCharacters() {
        if (text_.size() > maxBytes)
            fail(0, "the document is too large");
        if (text_.starts_with("\xEF\xBB\xBF"))
            text_.remove_prefix(3);
        const auto control = std::find_if(text_.begin(), text_.end(), [](char c) {
            return static_cast<unsigned char>(c) < 0x20 && blanks.find(c) == std::string_view::npos;
        });
        if (control != text_.end())
            fail(static_cast<std::size_t>(control - text_.begin()), "a control character");
        if (!files::isUtf8(text_))
            fail(0, "the document is not UTF-8");
        for (std::size_t at = text_.find('\n'); at != std::string_view::npos; at = text_.find('\n', at + 1))
            lineEnds_.push_back(at);
    }

    pugi::xml_node rootOf(const pugi::xml_document& document) const {
        pugi::xml_node root;
        for (const pugi::xml_node node : document.children()) {
            switch (node.type()) {
            case pugi::node_declaration:
                checkEncoding(node);
                break;
            case pugi::node_doctype:
                if (std::string_view(node.value()).find('[') != std::string_view::npos)
                    fail(node, "a document type with declarations of its own");
                break;
            case pugi::node_element:
                if (root)
                    fail(node, "a second root element");
                root = node;
                break;
            default:
                fail(node, "text outside the root element");
            }
        }
        if (!root)
            fail(0, "no root element");
        return root;
    }

    void checkEncoding(pugi::xml_node declaration) const {
        std::string encoding = declaration.attribute("encoding").value();
        for (char& c : encoding)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        if (!encoding.empty() && encoding != "utf-8" && encoding != "us-ascii")
            fail(declaration, "an encoding other than UTF-8: " + encoding);
    }

    std::string unescaped(pugi::xml_node where, std::string_view raw) const {
        std::string text;
        text.reserve(raw.size());
        for (auto from = raw.find('&'); from != std::string_view::npos; from = raw.find('&')) {
            const auto end = raw.find(';', from);
            const auto character =
                end == std::string_view::npos ? std::nullopt : resolved(raw.substr(from + 1, end - from - 1));
            if (!character)
                fail(where, "an unknown entity or a single \"&\"");
            text.append(raw.substr(0, from)).append(*character);
            raw.remove_prefix(end + 1);
        }
        return text.append(raw);
    }

    Element element(pugi::xml_node node, unsigned depth) const {
        if (depth > maxDepth)
            fail(node, "elements nested too deeply");
        Element result;
        result.name = node.name();
        result.line = lineOf(node);
        for (const pugi::xml_attribute attribute : node.attributes()) {
            if (result.attribute(attribute.name()) != nullptr)
                fail(node, std::string("the attribute \"") + attribute.name() + "\" stands twice");
            result.attributes.push_back({attribute.name(), unescaped(node, attribute.value())});
        }
        for (const pugi::xml_node child : node.children()) {
            if (child.type() == pugi::node_element)
                result.children.push_back(element(child, depth + 1));
            else if (child.type() == pugi::node_pcdata)
                result.text += unescaped(node, child.value());
            else
                result.text += child.value();
        }
        return result;
    }

    std::size_t lineOf(pugi::xml_node node) const {
        const auto offset = static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0));
        const auto end = std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset);
        return 1 + static_cast<std::size_t>(end - lineEnds_.begin());
    }

    std::string_view text_;
    std::vector<std::size_t> lineEnds_;
};

} // namespace

XmlError::XmlError(std::size_t line, std::string_view cause)
    : line_(line),
      text_(std::make_shared<const std::string>("line " + std::to_string(line) + ": " + std::string(cause))) {
}

const std::string* Element::attribute(std::string_view attributeName) const noexcept {
    for (const Attribute& each : attributes)
        if (each.name == attributeName)
            return &each.value;
    return nullptr;
}

Element parse(std::string_view text) {
    return TreeReader(text).read();
}

} // namespace varnek::xml
