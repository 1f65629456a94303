#include "catalogue/Translation.hpp"

#include "catalogue/MoFile.hpp"
#include "varnek/catalogue/TranslationError.hpp"
#include "varnek/files/FileAccess.hpp"
#include "varnek/files/PathText.hpp"

#include <boost/locale/gnu_gettext.hpp>
#include <boost/locale/message.hpp>

namespace varnek::catalogue {
namespace {

namespace gettext = boost::locale::gnu_gettext;

constexpr std::uint64_t maxFileSize = 16u << 20;

std::locale localeOf(const std::string& content) {
    gettext::messages_info info;
    info.language = "translation";
    info.encoding = "UTF-8";
    info.domains.emplace_back("varnek");
    info.paths.emplace_back(".");
    info.callback = [&](const std::string&, const std::string&) {
        return std::vector<char>(content.begin(), content.end());
    };
    return {std::locale::classic(), gettext::create_messages_facet<char>(info)};
}

} // namespace

TranslationError::TranslationError(std::filesystem::path path, std::string_view cause) {
    std::string text = "cannot use the translation \"" + path.native() + "\": ";
    text += cause;
    data_ = std::make_shared<const Data>(Data{std::move(path), std::move(text)});
}

Catalogue::Translation::Translation(const std::filesystem::path& file) {
    const std::string content = files::readFile(file, maxFileSize);
    if (const char* fault = faultOfMoFile(content))
        throw TranslationError(file, fault);
    try {
        locale_ = localeOf(content);
    } catch (const std::exception& failure) {
        throw TranslationError(file, failure.what());
    }
}

const char* Catalogue::Translation::find(std::string_view component, std::string_view key) const {
    const auto& messages = std::use_facet<boost::locale::message_format<char>>(locale_);
    const char* text = messages.get(0, std::string(component).c_str(), std::string(key).c_str());
    return text != nullptr && *text != '\0' && files::isUtf8(text) ? text : nullptr;
}

} // namespace varnek::catalogue
