/// One provider, and how to do it harm.
#pragma once

#include "spf/RawFrames.hpp"

#include <fstream>

namespace varnek::spf::test {

/// The value of a line of /proc/<pid>/status, in KiB.
inline std::size_t statusOf(pid_t process, const std::string& key) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(key))
            return std::stoull(line.substr(key.size() + 1));
    return 0;
}

/// KiB by which a process may have grown; the memory of a sanitizer counts, too.
constexpr std::size_t mayGrowBy(std::size_t kib) {
#if defined __SANITIZE_THREAD__ || defined __SANITIZE_ADDRESS__
    return 12 * kib;
#else
    return kib;
#endif
}

/// A process that claims to offer services in a folder.
class HostileProvider {
  public:
    explicit HostileProvider(const std::filesystem::path& endpointFolder)
        : place(endpointFolder / "1-hostile.socket"),
          listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        std::filesystem::create_directory(endpointFolder);
        std::filesystem::permissions(endpointFolder, std::filesystem::perms::owner_all);
        const std::filesystem::path made = endpointFolder.parent_path() / "hostile";
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, made.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(0, ::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        EXPECT_EQ(0, ::listen(listener_, 8));
        std::filesystem::rename(made, place);
    }
    HostileProvider(const HostileProvider&) = delete;
    HostileProvider& operator=(const HostileProvider&) = delete;
    ~HostileProvider() { ::close(listener_); }

    /// The next client.
    RawConnection accept() { return RawConnection(::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)); }

    const std::filesystem::path place;

  private:
    const int listener_;
};

class HostilePeers : public RemoteServices {
  protected:
    void SetUp() override { ASSERT_EQ("ok", peer.ask("publish victim")); }

    std::filesystem::path socket() { return folder / (peer.ask("process") + ".socket"); }
    RawConnection connect() { return RawConnection(socket()); }
    /// One that has been greeted and has asked for the endpoint, in question 0.
    RawConnection begun() {
        RawConnection connection = connect();
        EXPECT_EQ(accepted, connection.receive(8));
        EXPECT_TRUE(connection.send(bootstrap(0)));
        return connection;
    }
    /// The peer still serves others.
    void expectAlive() {
        PeerProcess client(folder);
        EXPECT_EQ("ok", client.ask("discover"));
        EXPECT_TRUE(comesTrue([&] { return client.ask("found victim") == "yes"; }));
        EXPECT_EQ("ok", client.ask("call victim echo"));
    }

    testing_support::TemporaryFolder own;
    std::filesystem::path folder = own / "varnek-spf";
    PeerProcess peer{folder};
};

} // namespace varnek::spf::test
