/// The failure to find out something about the process or its user.
#pragma once

#include "varnek/Export.hpp"
#include "varnek/exception/Exception.hpp"

#include <memory>
#include <string>
#include <string_view>

namespace varnek::host {

/// what() reads `cannot determine <what>: <cause>`.
class VARNEK_EXPORT HostError : public exception::Cloneable<HostError, exception::Exception> {
  public:
    HostError(std::string_view subject, std::string_view cause);

    const char* what() const noexcept override { return text_->c_str(); }

  private:
    std::shared_ptr<const std::string> text_;
};

} // namespace varnek::host
