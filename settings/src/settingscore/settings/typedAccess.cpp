// The typed front of the handle: get<T>, getByFullName<T> and set<T> for exactly the types of the value
// model.

#include "settingscore/Settings.hpp"
#include "settingscore/boostany/TypedArray.hpp"
#include "settingscore/boostany/UnconvertibleType.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/FullNamePath.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"

namespace settings::core {

using detail::SettingsNodeImpl;
using varnek::concurrency::ReadSection;
using varnek::data::Array;

namespace {

template <class T>
T convert(const Array& value) {
    if (value.isVoid())
        throw exception::AttemptToGetValueFromVoid();
    try {
        return settingscore::boostany::fromArray<T>(value);
    } catch (const VARNEK::settings::core::UnconvertibleType& mismatch) {
        const auto& names = mismatch.arguments(); // held type, wanted type
        throw VARNEK::settings::core::DataTypeNotMatch(names.at(1), names.at(0));
    }
}

/// Converts without copying the array when the value can be seen in place.
template <class T>
T readTyped(const SettingsNodeImpl& group, std::string_view name, std::string_view level) {
    const auto at = levelIndexOf(level);
    if (at || level.empty()) [[likely]] {
        const ReadSection section;
        if (const detail::LevelValues* values = group.peekValues(name)) [[likely]] {
            const detail::LevelSlots* slots = values->read();
            if (slots == nullptr)
                return convert<T>(Array());
            const std::size_t from = at ? position(*at) : slots->effectivePosition();
            return convert<T>(from == levelCount ? Array() : slots->values[from]);
        }
    }
    return convert<T>(group.getAny(name, level).first); // a node of another process refuses
}

/// The group that the full name's last name stands in, walking without reference counts; null where that
/// ends. Only inside a read section.
const SettingsNodeImpl* peekGroup(const SettingsNodeImpl* node, std::string_view& path) noexcept {
    while (node != nullptr && path.find('.') != std::string_view::npos)
        node = node->peekChild(detail::nextName(path));
    return node;
}

} // namespace

template <SettingValueType T>
T Settings::get(std::string_view name, std::string_view level) const {
    return readTyped<T>(*impl_, name, level);
}

template <SettingValueType T>
T Settings::getByFullName(std::string_view fullName, std::string_view level) const {
    {
        const ReadSection section;
        std::string_view name = fullName;
        const SettingsNodeImpl* group = peekGroup(impl_.get(), name);
        if (group != nullptr && group->peekValues(name) != nullptr)
            return readTyped<T>(*group, name, level);
    }
    const std::size_t dot = fullName.rfind('.');
    if (dot == std::string_view::npos)
        return readTyped<T>(*impl_, fullName, level);
    const auto group = detail::walk(impl_, fullName.substr(0, dot));
    if (group == nullptr)
        throw exception::InvalidNodePath(wrapImpl(impl_), std::string(fullName));
    return readTyped<T>(*group, fullName.substr(dot + 1), level);
}

template <SettingValueType T>
void Settings::set(std::string_view name, const T& value, std::string_view level) {
    requireChild(name);
    const auto [array, isVector] = settingscore::boostany::arrayFrom(value);
    setValue(name, array, isVector, level);
}

#define SETTINGS_TYPED_ACCESS(T)                                                                             \
    template SETTINGSCORE_EXPORT T Settings::get<T>(std::string_view, std::string_view) const;               \
    template SETTINGSCORE_EXPORT T Settings::getByFullName<T>(std::string_view, std::string_view) const;     \
    template SETTINGSCORE_EXPORT void Settings::set<T>(std::string_view, const T&, std::string_view);
#define SETTINGS_TYPED_ACCESS_WITH_VECTOR(T)                                                                 \
    SETTINGS_TYPED_ACCESS(T)                                                                                 \
    SETTINGS_TYPED_ACCESS(std::vector<T>)

SETTINGS_TYPED_ACCESS_WITH_VECTOR(signed char)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(unsigned char)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(short)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(unsigned short)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(int)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(unsigned int)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(std::int64_t)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(std::uint64_t)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(float)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(double)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(bool)
SETTINGS_TYPED_ACCESS_WITH_VECTOR(std::u16string)
SETTINGS_TYPED_ACCESS(char16_t)

} // namespace settings::core
