// What the other side of a connection may say.
#pragma once

#include <capnp/message.h>
#include <capnp/rpc.capnp.h>

#include <cstddef>
#include <cstdint>
#include <map>

namespace varnek::spf {

/// Lets through what our own clients and providers send. The protocol knows more: promised and passed on
/// capabilities, calls of what another call will return, results that are kept. Nobody needs that, and with
/// it the other side can have long chains made, and memory kept without a limit. Confined to one thread.
class MessageGate {
  public:
    /// Of each message, in the order in which they come; `unsent` of our own wait to be taken. Throws
    /// kj::Exception for what ends the connection.
    void check(capnp::MessageReader& message, std::size_t unsent);

  private:
    void checkCall(capnp::rpc::Call::Reader call);
    void begin(std::uint32_t question, bool isBootstrap);

    std::map<std::uint32_t, bool> questions_; // that have not been finished; true for the bootstrap
};

} // namespace varnek::spf
