#include "varnek/catalogue/MessageException.hpp"

#include "varnek/files/PathText.hpp"

namespace varnek::catalogue {

Argument::Argument(std::u16string_view text) {
    if (auto converted = files::utf8FromUtf16(text)) {
        text_ = std::move(*converted);
        return;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool pair = text[i] >= 0xD800 && text[i] < 0xDC00 && i + 1 < text.size() &&
                          text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
        text_ += files::utf8FromUtf16(text.substr(i, pair ? 2 : 1)).value_or("\xEF\xBF\xBD");
        i += pair ? 1 : 0;
    }
}

CatalogueException::~CatalogueException() = default;

CatalogueException::CatalogueException(std::string_view component, std::string_view key,
                                       Arguments arguments) {
    std::string text = Catalogue::current()->text(component, key, arguments);
    data_ = std::make_shared<const Data>(
        Data{std::string(component), std::string(key), std::move(arguments), std::move(text)});
}

std::string CatalogueException::text(const Catalogue& catalogue) const {
    return catalogue.text(data_->component, data_->key, data_->arguments);
}

} // namespace varnek::catalogue
