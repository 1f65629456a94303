#include "spf/Engine.hpp"

namespace varnek::spf {

Engine::Engine(Core& itsCore, kj::AsyncIoContext& itsIo)
    : core(itsCore), io(itsIo), timer(itsIo.provider->getTimer()), folder(itsCore.folder), server(*this),
      client(*this) {}

void Engine::watchFolder() {
    if (watch_ != nullptr)
        return;
    watch_ =
        std::make_unique<files::FolderWatch>(folder.path(), [&loop = core.loop](const files::FolderChanges&) {
            loop.post([](Engine& engine) {
                engine.server.checkEndpoint();
                engine.client.lookAround();
            });
        });
}

} // namespace varnek::spf
