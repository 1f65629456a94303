/// A holder of one copyable value of any type. Values that hold several threads' data need a lock of the
/// caller, as for any other object.
#pragma once

#include "varnek/Export.hpp"

#include <concepts>
#include <memory>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

namespace cppmicroservices {
inline namespace varnek_platform {

/// any_cast to a type that the Any does not hold.
class VARNEK_EXPORT BadAnyCastException : public std::bad_cast {
  public:
    explicit BadAnyCastException(std::string message)
        : message_(std::make_shared<const std::string>(std::move(message))) {}
    const char* what() const noexcept override { return message_->c_str(); }

  private:
    std::shared_ptr<const std::string> message_; // copying does not throw
};

namespace detail {

/// The C++ name of a type.
VARNEK_EXPORT std::string demangled(const std::type_info& type);

template <class T>
std::string anyText(const T& value) {
    if constexpr (requires(std::ostream & stream) { stream << value; }) {
        std::ostringstream stream;
        stream << std::boolalpha << value;
        return stream.str();
    } else {
        return "(" + demangled(typeid(T)) + ")";
    }
}

template <class T>
std::string anyText(const std::vector<T>& values) {
    std::string text = "[";
    for (const auto& value : values)
        text.append(text.size() == 1 ? "" : ",").append(anyText(value));
    return text + "]";
}

} // namespace detail

class Any {
  public:
    Any() noexcept = default;
    /// Arrays and text literals are held as pointers: prefer std::string.
    template <class T>
    requires(!std::same_as<T, Any>) Any(T value) : content_(std::make_unique<Holder<T>>(std::move(value))) {}
    Any(const Any& other) : content_(other.content_ ? other.content_->clone() : nullptr) {}
    Any(Any&&) noexcept = default;
    Any& operator=(Any other) noexcept {
        swap(other);
        return *this;
    }
    ~Any() = default;

    void swap(Any& other) noexcept { content_.swap(other.content_); }
    bool Empty() const noexcept { return !content_; }
    /// typeid(void) while empty.
    const std::type_info& Type() const noexcept { return content_ ? content_->type() : typeid(void); }
    /// The value as a stream writes it; lists in brackets; the type in parentheses when it cannot be written.
    /// Throws std::logic_error while empty.
    std::string ToString() const {
        if (Empty())
            throw std::logic_error("empty any");
        return content_->text();
    }

    /// Equal when both are empty, or hold equal values of one type. Values that cannot be compared are not
    /// equal.
    friend bool operator==(const Any& a, const Any& b) {
        return a.Empty() || b.Empty() ? a.Empty() && b.Empty()
                                      : a.Type() == b.Type() && a.content_->equals(*b.content_);
    }

  private:
    struct Content {
        virtual ~Content() = default;
        virtual const std::type_info& type() const noexcept = 0;
        virtual std::unique_ptr<Content> clone() const = 0;
        virtual std::string text() const = 0;
        virtual bool equals(const Content& other) const = 0; // of the same type
    };

    template <class T>
    struct Holder final : Content {
        explicit Holder(T held) : value(std::move(held)) {}
        const std::type_info& type() const noexcept override { return typeid(T); }
        std::unique_ptr<Content> clone() const override { return std::make_unique<Holder>(value); }
        std::string text() const override { return detail::anyText(value); }
        bool equals(const Content& other) const override {
            if constexpr (requires(const T& a, const T& b) { static_cast<bool>(a == b); })
                return value == static_cast<const Holder&>(other).value;
            else
                return false;
        }
        T value;
    };

    template <class T>
    friend T* any_cast(Any* operand) noexcept;

    std::unique_ptr<Content> content_;
};

/// Null when the operand is null or holds another type.
template <class T>
T* any_cast(Any* operand) noexcept {
    return operand != nullptr && operand->content_ && operand->Type() == typeid(T)
               ? &static_cast<Any::Holder<T>&>(*operand->content_).value
               : nullptr;
}
template <class T>
const T* any_cast(const Any* operand) noexcept {
    return any_cast<T>(const_cast<Any*>(operand));
}

/// The held value itself. Throws BadAnyCastException.
template <class T>
const T& ref_any_cast(const Any& operand) {
    const T* value = any_cast<T>(&operand);
    if (value == nullptr)
        throw BadAnyCastException("cannot cast an Any of type " + detail::demangled(operand.Type()) +
                                  " to type " + detail::demangled(typeid(T)));
    return *value;
}
template <class T>
T& ref_any_cast(Any& operand) {
    return const_cast<T&>(ref_any_cast<T>(std::as_const(operand)));
}

/// A copy of the held value. Throws BadAnyCastException.
template <class T>
T any_cast(const Any& operand) {
    return ref_any_cast<std::remove_cvref_t<T>>(operand);
}

inline std::ostream& operator<<(std::ostream& stream, const Any& any) {
    return stream << any.ToString();
}

} // namespace varnek_platform
} // namespace cppmicroservices
