/// Access to the core properties of a package.
#pragma once

#include "opc/qfservices/CoreProperties.hpp"
#include "varnek/Export.hpp"

#include <memory>

namespace opc::detail {
struct PackageData;
}
namespace opc::model {
class Package;
}

namespace opc::qfservices {

/// A view of one package's state; cheap to make, externally synchronised together with the package.
/// Deterministic: no date or user name is filled in. Operations on a closed package throw std::logic_error.
class VARNEK_EXPORT CorePropertiesManager {
  public:
    explicit CorePropertiesManager(const model::Package& package);

    /// Replaces all of them. Throws WriteError (unsupported) for text that is not well-formed UTF-8 or holds
    /// control characters that XML cannot carry, and (limitExceeded).
    void setCoreProperties(const CoreProperties& properties);
    /// All empty when the package has none. Readable in encrypted packages too.
    const CoreProperties& getCoreProperties() const;

  private:
    std::shared_ptr<detail::PackageData> data_;
};

} // namespace opc::qfservices
