/// Password encryption of packages: AES-256 on every part but the package's own (content types,
/// relationships, core properties). Names and sizes of parts stay readable.
#pragma once

#include "varnek/Export.hpp"

#include <string>

namespace opc::model {
class Package;
}

namespace opc::qfpackaging {

/// The password as bytes, at least one and none of them NUL.
struct DecryptOptions {
    std::string password = {};
};

struct EncryptOptions {
    std::string password = {};
};

/// Decrypts all parts of a package that was opened encrypted; does nothing for a plain one. Throws OpenError:
/// noPassword (the password is empty), wrongPassword, damaged, limitExceeded; the package then stays as it
/// was. Throws std::invalid_argument for a password with NUL.
VARNEK_EXPORT void enableDecryptionFromPassword(model::Package& package, const DecryptOptions& options);

/// From now on the package is written encrypted with this password, of which a copy is kept until the package
/// is gone. Throws std::invalid_argument for an empty password or one with NUL, WriteError (noPassword) for
/// an encrypted package that has not been decrypted.
VARNEK_EXPORT void enableEncryptionFromPassword(model::Package& package, const EncryptOptions& options);

} // namespace opc::qfpackaging
