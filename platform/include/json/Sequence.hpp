/// A vector in one pointer: size and capacity stand before the elements, so that an empty one costs eight
/// bytes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace varnek::json {

/// The part of std::vector that JSON arrays and objects need, with the same rules: references stay valid
/// until the sequence grows or shrinks before them; growth gives the strong guarantee. T may be incomplete
/// where a Sequence is a member. Externally synchronised.
template <class T>
class Sequence {
  public:
    using value_type = T;
    using size_type = std::size_t;
    using iterator = T*;
    using const_iterator = const T*;

    Sequence() noexcept = default;
    Sequence(std::initializer_list<T> elements) { append(elements.begin(), elements.size()); }
    Sequence(const Sequence& other) { append(other.begin(), other.size()); }
    Sequence(Sequence&& other) noexcept : elements_(std::exchange(other.elements_, nullptr)) {}
    Sequence& operator=(Sequence other) noexcept {
        std::swap(elements_, other.elements_);
        return *this;
    }
    ~Sequence() {
        if (elements_ != nullptr)
            destroy(elements_);
    }

    /// A sequence of exactly `count` elements, moved from `first` on.
    static Sequence moved(T* first, std::size_t count) {
        Sequence result;
        result.reserve(count);
        if (count != 0) {
            std::uninitialized_move_n(first, count, result.elements_);
            head(result.elements_).size = count;
        }
        return result;
    }

    std::size_t size() const noexcept { return elements_ != nullptr ? head(elements_).size : 0; }
    std::size_t capacity() const noexcept { return elements_ != nullptr ? head(elements_).capacity : 0; }
    bool empty() const noexcept { return size() == 0; }

    T* begin() noexcept { return elements_; }
    T* end() noexcept { return elements_ + size(); }
    const T* begin() const noexcept { return elements_; }
    const T* end() const noexcept { return elements_ + size(); }
    T& operator[](std::size_t index) noexcept { return elements_[index]; }
    const T& operator[](std::size_t index) const noexcept { return elements_[index]; }
    T& front() noexcept { return elements_[0]; }
    const T& front() const noexcept { return elements_[0]; }
    T& back() noexcept { return elements_[size() - 1]; }
    const T& back() const noexcept { return elements_[size() - 1]; }

    void reserve(std::size_t wanted) {
        if (wanted <= capacity())
            return;
        T* const fresh = allocate(wanted);
        const std::size_t count = size();
        std::uninitialized_move_n(elements_, count, fresh);
        head(fresh).size = count;
        if (elements_ != nullptr)
            destroy(elements_);
        elements_ = fresh;
    }

    template <class... Arguments>
    T& emplace_back(Arguments&&... arguments) {
        static_assert(std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>);
        T element{
            std::forward<Arguments>(arguments)...}; // made first: an argument may lie inside this sequence
        if (size() == capacity())
            reserve(std::max<std::size_t>(4, 2 * size()));
        T* const place = ::new (static_cast<void*>(end())) T(std::move(element));
        ++head(elements_).size;
        return *place;
    }
    void push_back(T element) { emplace_back(std::move(element)); }

    T* insert(const T* before, T element) {
        const auto position = before - begin();
        emplace_back(std::move(element));
        std::rotate(begin() + position, end() - 1, end());
        return begin() + position;
    }
    void erase(const T* element) noexcept {
        std::move(begin() + (element - begin()) + 1, end(), begin() + (element - begin()));
        std::destroy_at(end() - 1);
        --head(elements_).size;
    }

    friend bool operator==(const Sequence& a, const Sequence& b) noexcept {
        return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }

  private:
    struct Head {
        std::size_t size;
        std::size_t capacity;
    };

    static Head& head(T* elements) noexcept { return *(std::launder(reinterpret_cast<Head*>(elements)) - 1); }
    static T* allocate(std::size_t capacity) {
        static_assert(sizeof(Head) % alignof(T) == 0 && alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
        if (capacity > (static_cast<std::size_t>(-1) - sizeof(Head)) / sizeof(T))
            throw std::bad_array_new_length();
        void* const block = ::operator new(sizeof(Head) + capacity * sizeof(T));
        Head* const made = ::new (block) Head{0, capacity};
        return reinterpret_cast<T*>(made + 1);
    }
    static void destroy(T* elements) noexcept {
        Head& made = head(elements);
        std::destroy_n(elements, made.size);
        ::operator delete(&made);
    }
    void append(const T* first, std::size_t count) {
        if (count == 0)
            return;
        Sequence copy;
        copy.elements_ = allocate(count);
        for (; head(copy.elements_).size < count; ++head(copy.elements_).size)
            ::new (static_cast<void*>(copy.end())) T(first[copy.size()]);
        std::swap(elements_, copy.elements_);
    }

    T* elements_ = nullptr;
};

} // namespace varnek::json
