#include "varnek/catalogue/MessageException.hpp"

#include "varnek/files/PathText.hpp"

namespace varnek::catalogue {

Argument::Argument(std::u16string_view text) : text_(files::messageUtf8(text)) {}

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
