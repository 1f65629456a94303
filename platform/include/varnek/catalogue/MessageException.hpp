/// Exceptions whose text comes from the message catalogue.
///
/// Each failure is a type of its own, named by a tag:
///
///     struct CFunctionNotFoundTag {
///         static constexpr std::string_view component = "VARNEK:settings:core", key = "CFunctionNotFound";
///         static constexpr std::size_t argumentCount = 2; // optional: checked when the exception is made
///     };
///     using CFunctionNotFound = varnek::catalogue::MessageException<CFunctionNotFoundTag>;
///
///     throw CFunctionNotFound(library, function);
///
/// A tag of a shared library is exported like a class, so that its exceptions can be caught outside.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/catalogue/Argument.hpp"
#include "varnek/catalogue/Catalogue.hpp"
#include "varnek/exception/Exception.hpp"

#include <concepts>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace varnek::catalogue {

/// Base of all exceptions from the catalogue. Immutable; copying does not throw.
class VARNEK_EXPORT CatalogueException : public exception::Exception {
  public:
    ~CatalogueException() override;

    const std::string& component() const noexcept { return data_->component; }
    const std::string& key() const noexcept { return data_->key; }
    /// Component, a colon and the key.
    std::string identifier() const { return catalogue::identifier(data_->component, data_->key); }
    const Arguments& arguments() const noexcept { return data_->arguments; }

    /// The text in the catalogue that was current when the exception was made. UTF-8.
    const char* what() const noexcept override { return data_->text.c_str(); }
    /// The text in another catalogue.
    std::string text(const Catalogue& catalogue) const;

  protected:
    CatalogueException(std::string_view component, std::string_view key, Arguments arguments);
    CatalogueException(const CatalogueException&) = default;
    CatalogueException& operator=(const CatalogueException&) = default;

  private:
    struct Data {
        std::string component;
        std::string key;
        Arguments arguments;
        std::string text;
    };
    std::shared_ptr<const Data> data_;
};

/// A message that has no type of its own.
class VARNEK_EXPORT UntypedMessageException
    : public exception::Cloneable<UntypedMessageException, CatalogueException> {
  public:
    UntypedMessageException(std::string_view component, std::string_view key, Arguments arguments = {})
        : Cloneable(component, key, std::move(arguments)) {}
};

/// The failure that `Tag` names.
template <class Tag>
class VARNEK_EXPORT MessageException
    : public exception::Cloneable<MessageException<Tag>, CatalogueException> {
    using Base = exception::Cloneable<MessageException<Tag>, CatalogueException>;

  public:
    template <class... Values>
    requires(std::convertible_to<const Values&, Argument>&&...) explicit MessageException(
        const Values&... arguments)
        : Base(Tag::component, Tag::key, Arguments{Argument(arguments).text()...}) {
        if constexpr (requires { Tag::argumentCount; })
            static_assert(sizeof...(Values) == Tag::argumentCount,
                          "the message takes another number of arguments");
    }
};

} // namespace varnek::catalogue
