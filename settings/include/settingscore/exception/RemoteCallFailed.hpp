/// A call of a group of another process that came to nothing.
#pragma once

#include "settingscore/exception/FailureShapes.hpp"

#include <cstdint>
#include <string>

namespace settings::core::exception {

/// The other process could not be asked, did not answer, or failed in a way that has no type here. Failures
/// of the catalogue that the other process raises arrive as their own types.
class SETTINGSCORE_EXPORT RemoteCallFailed : public Cloneable<RemoteCallFailed, detail::BuiltTextFailure> {
  public:
    /// Logged, and sent to other processes: never renumber.
    enum class Fault : std::int32_t {
        unreachable = 0,   ///< nobody listens there
        disconnected = 1,  ///< the other process has ended, or does not publish the group any more
        timedOut = 2,      ///< no answer in time; the call may be carried out all the same
        refused = 3,       ///< too much at once for the other process, or it is another user's
        tooLarge = 4,      ///< the request or the answer is over its limit
        malformed = 5,     ///< what came is not what was asked for
        unknownMethod = 6, ///< the other process does not serve the operation
        provider = 7,      ///< it failed there; getCause() is the text of the failure
    };

    /// The text: `"node": operation failed in the process that publishes it: cause`.
    RemoteCallFailed(Fault fault, std::string node, std::string operation, std::string cause);
    ~RemoteCallFailed() override;
    Fault getFault() const { return fault_; }
    /// The full name of the node that was asked.
    std::string getNode() const { return *node_; }
    /// The name of the remote operation.
    std::string getOperation() const { return *operation_; }
    std::string getCause() const { return *cause_; }

  private:
    Fault fault_;
    SharedField<std::string> node_;
    SharedField<std::string> operation_;
    SharedField<std::string> cause_;
};

} // namespace settings::core::exception
