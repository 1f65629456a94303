/// What goes wrong with remote calls.
#pragma once

#include "spf/Value.hpp"
#include "varnek/Export.hpp"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace varnek::spf {

/// Logged, and sent to other processes: never renumber.
enum class RemoteErrorKind : std::uint8_t {
    unreachable = 0,   ///< nobody listens there
    disconnected = 1,  ///< the other process has ended or hung up, or does not offer the service any more
    timedOut = 2,      ///< no answer in time; the call may be carried out all the same
    refused = 3,       ///< another user's process, too much at once, or the child of a fork() asks; where too
                       ///< much waits to be taken by the caller, the call may have been carried out
    tooLarge = 4,      ///< the request or the reply is over its limit
    malformed = 5,     ///< what came is not what was asked for
    unknownMethod = 6, ///< the provider does not serve the method
};

/// The call did not reach the provider, or its answer did not come back. Immutable.
class VARNEK_EXPORT RemoteError : public std::runtime_error {
  public:
    RemoteError(RemoteErrorKind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    ~RemoteError() override;
    RemoteErrorKind kind() const noexcept { return kind_; }

  private:
    RemoteErrorKind kind_;
};

/// What the provider raised: its type's name, its text and what else it told. A provider raises it to tell
/// its clients of a failure of its own; any other std::exception arrives with an empty type. Immutable.
class VARNEK_EXPORT ProviderFailure : public std::runtime_error {
  public:
    ProviderFailure(std::string type, const std::string& text, Value::List fields = {})
        : std::runtime_error(text), data_(std::make_shared<const Data>(std::move(type), std::move(fields))) {}
    ~ProviderFailure() override;
    const std::string& type() const noexcept { return data_->type; }
    const Value::List& fields() const noexcept { return data_->fields; }

  private:
    struct Data {
        Data(std::string itsType, Value::List itsFields)
            : type(std::move(itsType)), fields(std::move(itsFields)) {}
        std::string type;
        Value::List fields;
    };
    std::shared_ptr<const Data> data_; // shared, so that copying cannot fail
};

} // namespace varnek::spf
