// Values in the notation of GVariant: the first byte chooses the type, the rest is the text. Either it is
// refused at a place inside it, or the value is of the type.
#include "settingscore/factoryfile/gschema/GVariantText.hpp"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace settings::core::detail;
    using varnek::data::TypeCode;
    constexpr std::string_view letters = "bynqiuxtds";
    constexpr TypeCode codes[] = {TypeCode::logical, TypeCode::uint8,  TypeCode::int16, TypeCode::uint16,
                                  TypeCode::int32,   TypeCode::uint32, TypeCode::int64, TypeCode::uint64,
                                  TypeCode::float64, TypeCode::string};
    if (size == 0)
        return 0;
    const std::size_t number = data[0] % letters.size();
    const bool isArray = data[0] / letters.size() % 2 == 1;
    const std::string type = (isArray ? "a" : "") + std::string(1, letters[number]);
    try {
        const auto value = readGVariant({reinterpret_cast<const char*>(data + 1), size - 1}, type);
        const TypeCode expected = type == "s" ? TypeCode::character : codes[number];
        const bool isText = type == "s";
        if (value.first.type() != expected || value.second != isArray ||
            (!isArray && !isText && value.first.numberOfElements() != 1))
            std::abort();
    } catch (const GVariantError&) {
    }
    return 0;
}
