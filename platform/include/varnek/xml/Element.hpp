/// Reads an XML document into a tree of elements, for small files of other programs.
///
/// Strict and closed: UTF-8 only, one root element, no repeated attributes, no entities but the five of XML
/// and character references, no internal document type subset; nothing outside the text is ever read.
/// Comments and processing instructions are skipped. Functions are thread-safe and do not touch the disk.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varnek::xml {

inline constexpr std::size_t maxBytes = std::size_t{16} << 20;
inline constexpr unsigned maxDepth = 64;

struct Attribute {
    std::string name;
    std::string value;
};

/// A plain value; all texts are UTF-8, entities resolved.
struct VARNEK_EXPORT Element {
    std::string name; ///< as written, prefix included
    std::vector<Attribute> attributes;
    /// The character data directly inside, CDATA sections included, with ends of lines as "\n". Pieces that
    /// consist of blanks only are left out.
    std::string text;
    std::vector<Element> children;
    std::size_t line = 0; ///< counted from 1

    /// Null when there is no such attribute.
    const std::string* attribute(std::string_view attributeName) const noexcept;
};

/// The text is no document that is read here. what() reads "line 3: <cause>".
class VARNEK_EXPORT XmlError : public exception::Cloneable<XmlError, exception::Exception> {
  public:
    XmlError(std::size_t line, std::string_view cause);
    const char* what() const noexcept override { return text_->c_str(); }
    std::size_t line() const noexcept { return line_; }

  private:
    std::size_t line_;
    std::shared_ptr<const std::string> text_;
};

/// The root element. Throws XmlError, also beyond maxBytes and maxDepth.
VARNEK_EXPORT Element parse(std::string_view text);

} // namespace varnek::xml
