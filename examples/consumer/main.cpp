// A small program on the installed library: it looks at an array, catches failures by their own classes, and
// keeps a secret with the key manager that was installed along.
#include "settingscore/Settings.hpp"
#include "settingscore/boostany/SupportedTypes.hpp"
#include "settingscore/exception/CatalogueFailures.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/exception/TreeFailures.hpp"
#include "settingscore/security/KeyManager.hpp"
#include "varnek/data/Array.hpp"

#include <boost/any.hpp>

#include <iostream>

namespace {

template <class Failure, class Call>
bool raises(Call call) {
    try {
        call();
    } catch (const Failure&) {
        return true;
    } catch (const std::exception& other) {
        std::cout << "unexpected: " << other.what() << '\n';
    }
    return false;
}

bool catchesFailuresByTheirClasses() {
    using settings::core::exception::ErrorExportOrImportSettingsUsingRelativePath;
    using VARNEK::settings::core::UnconvertibleType;
    return raises<ErrorExportOrImportSettingsUsingRelativePath>(
               [] { settings::core::Settings::importAsStandaloneObject(u"relative.vksettings", "user"); }) &&
           raises<UnconvertibleType>(
               [] { settingscore::boostany::get<double>(boost::any(std::u16string(u"text")), true); }) &&
           raises<settingscore::boostany::UnsupportedAnyType>(
               [] { settingscore::boostany::get<double>(boost::any(std::string("narrow")), true); });
}

bool keepsASecret() {
    try {
        settings::security::addSecret(u"editor.vksettings", "a password");
        return settings::security::getSecret(u"editor.vksettings") == "a password";
    } catch (const settings::core::exception::ErrorLoadingLibrary& failure) {
        std::cout << failure.what() << " (" << failure.getLibName() << ")\n";
        return false;
    }
}

} // namespace

int main() {
    const auto size = varnek::data::Array::make<double>({2, 3}, {1, 2, 3, 4, 5, 6});
    if (varnek::data::dimensionsText(size) != "2x3")
        return 1;
    if (!catchesFailuresByTheirClasses())
        return 2;
    if (!keepsASecret())
        return 3;
    std::cout << "settingscore works\n";
}
