// GSettings schemas from hostile XML: either the file is refused with a typed error, or every document that
// is made of it is a sound definition document, and every other key is listed with a reason.
#include "settingscore/factoryfile/DefinitionDocument.hpp"
#include "settingscore/factoryfile/GSchemaConverter.hpp"
#include "settingscore/factoryfile/InvalidDefinition.hpp"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    varnek::settings::GSchemaConverter converter;
    try {
        converter.addText({reinterpret_cast<const char*>(data), size}, "input");
    } catch (const varnek::settings::InvalidDefinition&) {
        return 0;
    }
    const auto result = converter.convert();
    for (const auto& item : result.unmapped)
        if (item.reason.empty())
            std::abort();
    for (const auto& document : result.documents)
        settings::core::detail::readDefinitionDocument(document.text, "document"); // a fault here is ours
    return 0;
}
