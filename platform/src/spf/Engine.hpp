// What the thread of the event loop works on. Everything here is confined to that thread.
#pragma once

#include "spf/Client.hpp"
#include "spf/Core.hpp"
#include "spf/EndpointFolder.hpp"
#include "spf/Server.hpp"
#include "varnek/files/FolderWatch.hpp"

#include <kj/async-io.h>
#include <kj/timer.h>

#include <memory>

namespace varnek::spf {

class Engine {
  public:
    Engine(Core& itsCore, kj::AsyncIoContext& itsIo);
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Looks what others change in the folder, from now on. Throws std::system_error.
    void watchFolder();

    Core& core;
    kj::AsyncIoContext& io;
    kj::Timer& timer;
    const EndpointFolder folder;
    Server server;
    Client client;

  private:
    std::unique_ptr<files::FolderWatch> watch_;
};

} // namespace varnek::spf
