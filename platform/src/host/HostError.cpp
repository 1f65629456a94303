#include "varnek/host/HostError.hpp"

namespace varnek::host {

HostError::HostError(std::string_view subject, std::string_view cause) {
    std::string text = "cannot determine ";
    text.append(subject).append(": ").append(cause);
    text_ = std::make_shared<const std::string>(std::move(text));
}

} // namespace varnek::host
