/// A map from texts to values of any type.
#pragma once

#include "cppmicroservices/Any.h"
#include "varnek/Export.hpp"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>

namespace cppmicroservices {
inline namespace varnek_platform {

/// Copyable. Iterates in the order of its keys whatever its kind; the kinds differ in whether keys differ by
/// case (ASCII). Several threads may read.
class VARNEK_EXPORT any_map {
  public:
    enum map_type : std::uint8_t { ORDERED_MAP, UNORDERED_MAP, UNORDERED_MAP_CASEINSENSITIVE_KEYS };

    struct KeyOrder {
        bool ignoreCase = false;
        bool operator()(const std::string& a, const std::string& b) const noexcept;
    };
    using Map = std::map<std::string, Any, KeyOrder>;
    using key_type = std::string;
    using mapped_type = Any;
    using value_type = Map::value_type;
    using size_type = std::size_t;
    using iterator = Map::iterator;
    using const_iterator = Map::const_iterator;
    using ordered_any_map = std::map<std::string, Any>;
    using unordered_any_map = std::unordered_map<std::string, Any>;

    explicit any_map(map_type type = UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    any_map(map_type type, std::initializer_list<value_type> values);
    any_map(const ordered_any_map& values);
    any_map(const unordered_any_map& values);

    map_type GetType() const noexcept { return type_; }

    iterator begin() noexcept { return map_.begin(); }
    iterator end() noexcept { return map_.end(); }
    const_iterator begin() const noexcept { return map_.begin(); }
    const_iterator end() const noexcept { return map_.end(); }
    const_iterator cbegin() const noexcept { return map_.cbegin(); }
    const_iterator cend() const noexcept { return map_.cend(); }

    bool empty() const noexcept { return map_.empty(); }
    size_type size() const noexcept { return map_.size(); }
    size_type count(const std::string& key) const { return map_.count(key); }
    iterator find(const std::string& key) { return map_.find(key); }
    const_iterator find(const std::string& key) const { return map_.find(key); }
    /// Throws std::out_of_range.
    Any& at(const std::string& key) { return map_.at(key); }
    const Any& at(const std::string& key) const { return map_.at(key); }
    Any& operator[](const std::string& key) { return map_[key]; }
    /// Leaves a value that is there.
    std::pair<iterator, bool> insert(value_type value) { return map_.insert(std::move(value)); }
    template <class... Arguments>
    std::pair<iterator, bool> emplace(Arguments&&... arguments) {
        return map_.emplace(std::forward<Arguments>(arguments)...);
    }
    size_type erase(const std::string& key) { return map_.erase(key); }
    void clear() noexcept { map_.clear(); }

    friend bool operator==(const any_map& a, const any_map& b) { return a.map_ == b.map_; }

  private:
    map_type type_;
    Map map_;
};

class VARNEK_EXPORT AnyMap : public any_map {
  public:
    using any_map::any_map;
};

} // namespace varnek_platform
} // namespace cppmicroservices
