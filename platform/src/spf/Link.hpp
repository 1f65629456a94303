// What capabilities know of their connection.
#pragma once

#include <kj/exception.h>

#include <memory>

namespace varnek::spf {

/// Calls that have come in are not bound to the connection: they, and the capabilities that they are for, may
/// outlive it. They reach it through a link, which it cuts when it ends. Confined to one thread.
template <class Connection>
class Link {
  public:
    explicit Link(Connection& connection) : connection_(std::make_shared<Connection*>(&connection)) {}

    void cut() noexcept { *connection_ = nullptr; }
    /// Null when the connection has ended.
    Connection* get() const noexcept { return *connection_; }
    /// Throws kj::Exception (disconnected) when it has ended.
    Connection& operator*() const {
        if (get() == nullptr)
            kj::throwFatalException(KJ_EXCEPTION(DISCONNECTED, "the connection has ended"));
        return *get();
    }

  private:
    std::shared_ptr<Connection*> connection_;
};

} // namespace varnek::spf
