#include "opc/qfpackaging/Encryption.hpp"

#include "opc/PackageData.hpp"
#include "opc/model/Package.hpp"

namespace opc::qfpackaging {

void enableDecryptionFromPassword(model::Package& package, const DecryptOptions& options) {
    const auto& data = detail::openData(package);
    const detail::Secret password(options.password);
    if (!data->sealed)
        return;
    detail::atBorder<OpenError>(data->path, [&] {
        if (password.empty())
            throw detail::Refusal{ErrorKind::noPassword, {}, "the package is encrypted"};
        detail::unsealPackage(*data, password);
    });
}

void enableEncryptionFromPassword(model::Package& package, const EncryptOptions& options) {
    const auto& data = detail::openData(package);
    if (options.password.empty())
        throw std::invalid_argument("a package password must not be empty");
    if (data->sealed)
        throw WriteError(ErrorKind::noPassword, data->path, {}, "the package is encrypted");
    data->password = detail::Secret(options.password);
}

} // namespace opc::qfpackaging
