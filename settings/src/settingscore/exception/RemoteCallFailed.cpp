#include "settingscore/exception/RemoteCallFailed.hpp"

#include <utility>

namespace settings::core::exception {

RemoteCallFailed::RemoteCallFailed(Fault fault, std::string node, std::string operation, std::string cause)
    : Cloneable('"' + node + "\": " + operation + " failed in the process that publishes it: " + cause),
      fault_(fault), node_(std::move(node)), operation_(std::move(operation)), cause_(std::move(cause)) {}
RemoteCallFailed::~RemoteCallFailed() = default;

} // namespace settings::core::exception
