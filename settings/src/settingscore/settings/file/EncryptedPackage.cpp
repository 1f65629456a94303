#include "settingscore/settings/file/EncryptedPackage.hpp"

#include "opc/model/Package.hpp"
#include "opc/qfpackaging/Encryption.hpp"
#include "settingscore/exception/FileFailures.hpp"
#include "settingscore/security/KeyManager.hpp"
#include "settingscore/settings/file/FileFailureText.hpp"
#include "varnek/files/PathText.hpp"

#include <string.h>

namespace settings::core::detail {

namespace {

/// The secret does not outlive its use in memory.
struct ErasedOptions : opc::qfpackaging::DecryptOptions {
    ErasedOptions() = default;
    ErasedOptions(const ErasedOptions&) = delete;
    ErasedOptions& operator=(const ErasedOptions&) = delete;
    ~ErasedOptions() { ::explicit_bzero(password.data(), password.size()); }
};

} // namespace

std::u16string secretNameOf(const std::filesystem::path& file) {
    return varnek::files::utf16FromPath(file.filename());
}

void decrypt(opc::model::Package& package, const FilePlace& place) {
    try {
        ErasedOptions options;
        options.password = security::getSecret(secretNameOf(place.file));
        opc::qfpackaging::enableDecryptionFromPassword(package, options);
    } catch (const exception::ErrorLoadingLibrary& failure) {
        place.refuse(ReadError::encrypted, {},
                     "the file is encrypted; " + std::string(failure.what()) + " " +
                         varnek::files::messageUtf8(failure.getSystemMessage()));
    } catch (...) { // whatever a plug-in raises leaves the file unread
        place.refuse(ReadError::encrypted, {}, "the file is encrypted; " + causeOfCurrentException());
    }
}

} // namespace settings::core::detail
