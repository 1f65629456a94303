// Reading and browsing a group of another process: a second process for each contestant.

#include "RemoteStores.hpp"
#include "Rows.hpp"

#include "settingscore/SettingsRoot.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "settingscore/startup/init.hpp"
#include "varnek/host/Executable.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace bench {

namespace {

namespace core = ::settings::core;
using varnek::data::Array;

constexpr char groupName[] = "thousand";

/// This program as a server; ends with the object.
class ServerProcess {
  public:
    ServerProcess(const std::string& who, const std::filesystem::path& folder) {
        std::array<int, 2> ready{};
        if (::pipe(ready.data()) != 0)
            throw std::runtime_error("no pipe for a server of the benchmark");
        const std::string program = varnek::host::executablePath().string();
        child_ = ::fork();
        if (child_ == 0) {
            ::dup2(ready[1], STDOUT_FILENO);
            ::close(ready[0]);
            ::close(ready[1]);
            ::execl(program.c_str(), program.c_str(), "--serve", who.c_str(), folder.c_str(),
                    static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(ready[1]);
        char word = 0;
        const bool isReady = child_ > 0 && ::read(ready[0], &word, 1) == 1;
        ::close(ready[0]);
        if (!isReady)
            throw std::runtime_error("the server \"" + who + "\" of the benchmark does not start");
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    ~ServerProcess() {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }

  private:
    pid_t child_ = -1;
};

/// The group through an ordinary handle, as any program uses it.
class OurStore final : public RemoteStore {
  public:
    explicit OurStore(Handle group) : group_(std::move(group)) {}

    double read(int setting) override { return valueOf(setting); }
    double readMany(int count) override {
        std::array<double, inFlight> sums{};
        std::vector<std::thread> threads;
        for (int t = 0; t < inFlight; ++t)
            threads.emplace_back([&, t] {
                for (int i = t; i < count; i += inFlight)
                    sums[static_cast<std::size_t>(t)] += valueOf(i % remoteSettings);
            });
        double sum = 0;
        for (int t = 0; t < inFlight; ++t) {
            threads[static_cast<std::size_t>(t)].join();
            sum += sums[static_cast<std::size_t>(t)];
        }
        return sum;
    }
    std::size_t browse() override {
        std::size_t visible = 0;
        for (const Handle& child : group_->getChildren())
            visible += child->getName().empty() || !child->isVisible() || child->isReadOnly() ? 0 : 1;
        return visible;
    }

  private:
    double valueOf(int setting) const { return group_->get(settingName(setting)).element<double>(); }

    const Handle group_;
};

void serveOurs(const std::function<void()>& ready) {
    core::init();
    const Handle root = core::detail::getSettingsRoot(core::DefaultRootIndex());
    const Handle group = root->addGroup(groupName, true, false, "session");
    for (int i = 0; i < remoteSettings; ++i)
        group->addSetting(settingName(i), Array::scalar(double(i)), true, false, "session");
    core::publishTopLevelGroups({groupName});
    ready();
    for (;;)
        ::pause();
}

struct Stores {
    explicit Stores(const Handle& root, const std::filesystem::path& folder)
        : ourServer("ours", folder), capnpServer("capnp", folder), socketServer("socket", folder) {
        core::attachRemoteGroups();
        if (!core::awaitRemoteGroups({groupName}, std::chrono::seconds(30)))
            throw std::runtime_error("the group of the benchmark is not attached");
        ours = std::make_unique<OurStore>(root->getChild(groupName));
        capnp = openCapnpStore(folder);
        socket = openSocketStore(folder);
    }

    ServerProcess ourServer, capnpServer, socketServer;
    std::unique_ptr<RemoteStore> ours, capnp, socket;
};

} // namespace

std::vector<Row> remoteRows(const Handle& root, const std::filesystem::path& folder) {
    std::filesystem::create_directory(folder / "run");
    std::filesystem::permissions(folder / "run", std::filesystem::perms::owner_all);
    ::setenv("XDG_RUNTIME_DIR", (folder / "run").c_str(), 1);
    const auto stores = std::make_shared<Stores>(root, folder / "run");
    const auto contestants = [&](const std::function<std::uint64_t(RemoteStore&)>& work) {
        return std::vector<Contestant>{
            {"this library", [stores, work] { return work(*stores->ours); }},
            {"bare Cap'n Proto", [stores, work] { return work(*stores->capnp); }},
            {"raw socket", [stores, work] { return work(*stores->socket); }},
        };
    };
    const auto reads = [](RemoteStore& store) {
        double sum = 0;
        for (int i = 0; i < remoteSettings; ++i)
            sum += store.read(i);
        if (sum != remoteSettings * (remoteSettings - 1) / 2.0)
            throw std::runtime_error("a store of the remote rows reads wrong values");
        return std::uint64_t(remoteSettings);
    };
    const auto manyReads = [](RemoteStore& store) {
        constexpr int count = 64 * inFlight;
        keep(store.readMany(count));
        return std::uint64_t(count);
    };
    const auto browses = [](RemoteStore& store) {
        if (store.browse() != std::size_t(remoteSettings))
            throw std::runtime_error("a store of the remote rows does not show all settings");
        return std::uint64_t(1);
    };
    return {
        {"read from another process, one call", "<= 1.5x bare Cap'n Proto", contestants(reads)},
        {"read from another process, 32 under way (ours: 32 threads)", "", contestants(manyReads)},
        {"browse a group of 1,000 settings of another process", "", contestants(browses)},
    };
}

int runServer(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const std::string who = argv[2];
    const std::filesystem::path folder = argv[3];
    const auto ready = [] { static_cast<void>(!::write(STDOUT_FILENO, "r", 1)); };
    if (who == "ours")
        serveOurs(ready);
    else if (who == "capnp")
        serveCapnpStore(folder, ready);
    else
        serveSocketStore(folder, ready);
    return 0;
}

} // namespace bench
