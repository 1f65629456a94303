/// A field of an exception: an immutable value that all copies share, so that copying an exception never
/// throws.
#pragma once

#include <memory>
#include <utility>

namespace settings::core::exception {

/// Copyable only: a moved-from field would be empty. Copies may be read from any thread.
template <class T>
class SharedField {
  public:
    SharedField(T value)
        : value_(std::make_shared<const T>(std::move(value))) {} // implicit: stands for its value
    SharedField(const SharedField&) noexcept = default;
    SharedField& operator=(const SharedField&) noexcept = default;

    const T& operator*() const noexcept { return *value_; }
    const T* operator->() const noexcept { return value_.get(); }

  private:
    std::shared_ptr<const T> value_;
};

} // namespace settings::core::exception
