// Definition documents from hostile text: either every fault has a place and a rule, or the document makes a
// factory file that reads back to the same definitions.
#include "opc/model/Package.hpp"
#include "settingscore/factoryfile/DefinitionDocument.hpp"
#include "settingscore/factoryfile/InvalidDefinition.hpp"
#include "settingscore/settings/file/SettingsFileReader.hpp"
#include "settingscore/settings/file/SettingsFileWriter.hpp"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace settings::core;
using namespace settings::core::detail;

void require(bool holds) {
    if (!holds)
        std::abort();
}

std::string imageOf(SettingsFileContent& content) {
    content.revision = 0;
    return fileImage(content, LevelIndex::factory, {}).value();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        SettingsFileContent content = readDefinitionDocument(text, "document");
        const std::string image = imageOf(content);
        auto package = opc::model::Package::openBytes(image);
        SettingsFileContent again = readSettingsPackage(package, "/f/g.vksettings", FileUse::factory);
        require(imageOf(again) == image);
    } catch (const varnek::settings::InvalidDefinition& error) {
        require(!error.getFaults().empty());
        for (const auto& fault : error.getFaults())
            require(fault.path.starts_with('$') && !fault.rule.empty());
    }
    return 0;
}
