/// The service through which the host tells what kind of process this is.
///
/// A bundle of the host registers it, under the name of its type:
///
///     context.RegisterService<varnek::host::HostInfo>(std::make_shared<ThisProcess>());
#pragma once

#include "varnek/Export.hpp"

namespace varnek::host {

/// Implementations are thread-safe and do not block.
class VARNEK_EXPORT HostInfo {
  public:
    virtual ~HostInfo() = default;

    /// Whether a person works with this process (an interactive session); false: it computes for others. The
    /// answer stays the same for as long as the service is registered.
    virtual bool isSession() const = 0;
};

} // namespace varnek::host
