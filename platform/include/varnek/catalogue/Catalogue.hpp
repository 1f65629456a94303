/// The application's message catalogue: texts looked up by component ("VARNEK:settings:core") and key
/// ("CFunctionNotFound"), with ordered arguments.
///
/// The English texts are built in. A translation is a compiled gettext file (".mo") whose message context is
/// the component and whose message id is the key; the template platform/catalogue/varnek.pot lists every
/// message with its English text. In a text, {0}, {1}, ... stand for the arguments, {{ and }} for braces.
///
///     Catalogue::setCurrent(Catalogue::fromFolder("/opt/app/translations", "de_AT"));
///
/// A text that a translation lacks, or whose placeholders do not fit the arguments, comes from the English
/// table; a message that is not there either reads as its identifier, followed by the arguments.
#pragma once

#include "varnek/Export.hpp"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace varnek::catalogue {

class Catalogue;
using CatalogueHandle = std::shared_ptr<const Catalogue>;

/// The arguments of a message in their order, UTF-8.
using Arguments = std::vector<std::string>;

/// Immutable, so that it may be read from any thread.
class VARNEK_EXPORT Catalogue {
  public:
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;
    ~Catalogue();

    /// The built-in texts alone.
    static CatalogueHandle english();

    /// Reads a translation. Throws files::FileError when the file cannot be read and TranslationError when it
    /// is no usable translation.
    static CatalogueHandle fromFile(const std::filesystem::path& file);

    /// Reads <folder>/<language>/LC_MESSAGES/varnek.mo. The language is a name such as "de", "de_AT" or
    /// "sr@latin"; where there is no file for it, its part before "_" and "@" is tried. Throws like fromFile,
    /// notFound when there is neither file; std::invalid_argument for a text that is no language name.
    static CatalogueHandle fromFolder(const std::filesystem::path& folder, std::string_view language);

    /// The catalogue of the process, English until setCurrent. Thread-safe.
    static CatalogueHandle current();
    /// An empty handle restores English. Messages that are formed already stay as they are. Thread-safe.
    static void setCurrent(CatalogueHandle catalogue);

    /// The text of a message, UTF-8. Never fails but for want of memory.
    std::string text(std::string_view component, std::string_view key, const Arguments& arguments = {}) const;

  private:
    class Translation;

    explicit Catalogue(std::unique_ptr<const Translation> translation);

    std::unique_ptr<const Translation> translation_; // empty: English
};

/// The name under which a message is known: component, a colon and the key.
VARNEK_EXPORT std::string identifier(std::string_view component, std::string_view key);

} // namespace varnek::catalogue
