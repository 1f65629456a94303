/// The hand-written minimum that does the same work as a levelled read: a hash table per group, four optional
/// values per setting, the first that is set. No trees, no types, no locks, no events, no definitions.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

template <class T>
class FloorGroup {
  public:
    struct Setting {
        std::string name;
        std::array<T, 4> values{};
        unsigned set = 0; // bit n: level n holds a value
    };

    explicit FloorGroup(std::vector<Setting> settings) : settings_(std::move(settings)) {
        slots_.resize(std::bit_ceil(settings_.size() * 2), 0);
        for (std::size_t i = 0; i < settings_.size(); ++i) {
            std::size_t at = hash(settings_[i].name);
            while (slots_[at] != 0)
                at = (at + 1) & (slots_.size() - 1);
            slots_[at] = static_cast<std::uint32_t>(i + 1);
        }
    }

    const T* get(std::string_view name) const {
        for (std::size_t at = hash(name); slots_[at] != 0; at = (at + 1) & (slots_.size() - 1)) {
            const Setting& setting = settings_[slots_[at] - 1];
            if (setting.name == name)
                return setting.set == 0 ? nullptr
                                        : &setting.values[std::size_t(std::countr_zero(setting.set))];
        }
        return nullptr;
    }

  private:
    std::size_t hash(std::string_view name) const {
        return std::hash<std::string_view>{}(name) & (slots_.size() - 1);
    }

    std::vector<Setting> settings_;
    std::vector<std::uint32_t> slots_;
};

} // namespace bench
