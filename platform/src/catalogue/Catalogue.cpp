#include "varnek/catalogue/Catalogue.hpp"

#include "catalogue/EnglishTexts.hpp"
#include "catalogue/Placeholders.hpp"
#include "catalogue/Translation.hpp"
#include "varnek/files/FileError.hpp"

#include <algorithm>
#include <mutex>
#include <stdexcept>

namespace varnek::catalogue {
namespace {

/// Never destroyed.
struct CurrentCatalogue {
    std::mutex mutex; // guards catalogue
    CatalogueHandle catalogue = Catalogue::english();
};

CurrentCatalogue& currentCatalogue() {
    static CurrentCatalogue* const instance = new CurrentCatalogue;
    return *instance;
}

void checkLanguage(std::string_view language) {
    const bool plain = std::all_of(language.begin(), language.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
               c == '@';
    });
    if (!plain || language.empty() || language.front() == '_' || language.front() == '@')
        throw std::invalid_argument("\"" + std::string(language) + "\" is no language name");
}

} // namespace

Catalogue::Catalogue(std::unique_ptr<const Translation> translation) : translation_(std::move(translation)) {}

Catalogue::~Catalogue() = default;

CatalogueHandle Catalogue::english() {
    static const auto* const instance = new CatalogueHandle(new Catalogue(nullptr));
    return *instance;
}

CatalogueHandle Catalogue::fromFile(const std::filesystem::path& file) {
    return CatalogueHandle(new Catalogue(std::make_unique<const Translation>(file)));
}

CatalogueHandle Catalogue::fromFolder(const std::filesystem::path& folder, std::string_view language) {
    checkLanguage(language);
    const auto file = [&](std::string_view name) { return folder / name / "LC_MESSAGES" / "varnek.mo"; };
    const std::string_view general = language.substr(0, language.find_first_of("_@"));
    try {
        return fromFile(file(language));
    } catch (const files::FileError& error) {
        if (error.kind() != files::FileErrorKind::notFound || general == language)
            throw;
    }
    return fromFile(file(general));
}

CatalogueHandle Catalogue::current() {
    const std::lock_guard lock(currentCatalogue().mutex);
    return currentCatalogue().catalogue;
}

void Catalogue::setCurrent(CatalogueHandle catalogue) {
    if (!catalogue)
        catalogue = english();
    const std::lock_guard lock(currentCatalogue().mutex);
    currentCatalogue().catalogue.swap(catalogue);
}

std::string Catalogue::text(std::string_view component, std::string_view key,
                            const Arguments& arguments) const {
    if (const char* translated = translation_ ? translation_->find(component, key) : nullptr)
        if (auto text = filledIn(translated, arguments))
            return *text;
    if (const EnglishText* english = findEnglishText(component, key))
        if (auto text = filledIn(english->text, arguments))
            return *text;
    std::string text = identifier(component, key);
    for (std::size_t i = 0; i < arguments.size(); ++i)
        text.append(i == 0 ? ": " : ", ").append(arguments[i]);
    return text;
}

std::string identifier(std::string_view component, std::string_view key) {
    return std::string(component).append(":").append(key);
}

} // namespace varnek::catalogue
