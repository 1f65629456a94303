#include "spf/RemoteError.hpp"

namespace varnek::spf {

RemoteError::~RemoteError() = default;
ProviderFailure::~ProviderFailure() = default;

} // namespace varnek::spf
