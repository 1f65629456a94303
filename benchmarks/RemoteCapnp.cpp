// The remote store on Cap'n Proto and nothing else: both ends on the thread of their event loop.

#include "RemoteStores.hpp"
#include "Workload.hpp"

#include <Bare.capnp.h>
#include <capnp/ez-rpc.h>

#include <vector>

namespace bench {

namespace {

std::string addressIn(const std::filesystem::path& folder) {
    return "unix:" + (folder / "capnp").string();
}

class Server final : public bare::Store::Server {
  public:
    kj::Promise<void> read(ReadContext context) override {
        const auto name = context.getParams().getName();
        context.getResults().setValue(std::stod(name.cStr() + sizeof "setting" - 1));
        return kj::READY_NOW;
    }
    kj::Promise<void> browse(BrowseContext context) override {
        auto settings = context.getResults().initSettings(remoteSettings);
        for (int i = 0; i < remoteSettings; ++i) {
            auto setting = settings[static_cast<unsigned>(i)];
            setting.setName(settingName(i));
            setting.setIsVisible(true);
        }
        return kj::READY_NOW;
    }
};

class Client final : public RemoteStore {
  public:
    explicit Client(const std::filesystem::path& folder)
        : client_(addressIn(folder)), store_(client_.getMain<bare::Store>()) {}
    ~Client() noexcept override = default; // though those of its members may throw

    double read(int setting) override { return ask(setting).wait(client_.getWaitScope()).getValue(); }
    double readMany(int count) override {
        double sum = 0;
        std::vector<capnp::RemotePromise<bare::Store::ReadResults>> asked;
        for (int from = 0; from < count; from += inFlight) {
            asked.clear();
            for (int i = 0; i < inFlight; ++i)
                asked.push_back(ask((from + i) % remoteSettings));
            for (auto& answer : asked)
                sum += answer.wait(client_.getWaitScope()).getValue();
        }
        return sum;
    }
    std::size_t browse() override {
        const auto answer = store_.browseRequest().send().wait(client_.getWaitScope());
        std::size_t visible = 0;
        for (const auto setting : answer.getSettings())
            visible += std::string(setting.getName().cStr()).empty() || !setting.getIsVisible() ? 0 : 1;
        return visible;
    }

  private:
    capnp::RemotePromise<bare::Store::ReadResults> ask(int setting) {
        auto request = store_.readRequest();
        request.setName(settingName(setting));
        return request.send();
    }

    capnp::EzRpcClient client_;
    bare::Store::Client store_;
};

} // namespace

std::unique_ptr<RemoteStore> openCapnpStore(const std::filesystem::path& folder) {
    return std::make_unique<Client>(folder);
}

void serveCapnpStore(const std::filesystem::path& folder, const std::function<void()>& ready) {
    capnp::EzRpcServer server(kj::heap<Server>(), addressIn(folder));
    server.getPort().wait(server.getWaitScope());
    ready();
    kj::NEVER_DONE.wait(server.getWaitScope());
}

} // namespace bench
