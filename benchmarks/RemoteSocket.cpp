// The remote store on a stream socket with frames of our own: a length, a name, and back a number.

#include "RemoteStores.hpp"
#include "Workload.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace bench {

namespace {

sockaddr_un addressIn(const std::filesystem::path& folder) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (folder / "socket").string();
    if (path.size() >= sizeof address.sun_path)
        throw std::runtime_error("too long for a socket: " + path);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

bool receive(int from, void* bytes, std::size_t size) {
    for (auto* at = static_cast<char*>(bytes); size > 0;) {
        const ssize_t got = ::read(from, at, size);
        if (got <= 0)
            return false;
        at += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

void sendAll(int to, const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t put = ::write(to, bytes.data() + sent, bytes.size() - sent);
        if (put <= 0)
            throw std::runtime_error("the other end of the socket is gone");
        sent += static_cast<std::size_t>(put);
    }
}

std::string frame(const std::string& text) {
    const auto size = static_cast<std::uint32_t>(text.size());
    return std::string(reinterpret_cast<const char*>(&size), sizeof size) + text;
}

/// False at the end.
bool receiveFrame(int from, std::string& text) {
    std::uint32_t size = 0;
    if (!receive(from, &size, sizeof size))
        return false;
    text.resize(size);
    return receive(from, text.data(), size);
}

std::string allNames() {
    std::string names;
    for (int i = 0; i < remoteSettings; ++i)
        names += settingName(i) + '\1' + '\0'; // visible, not read-only
    return names;
}

class Client final : public RemoteStore {
  public:
    explicit Client(const std::filesystem::path& folder) : socket_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        const sockaddr_un address = addressIn(folder);
        if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot connect to the socket of the benchmark");
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() override { ::close(socket_); }

    double read(int setting) override {
        sendAll(socket_, frame(settingName(setting)));
        return answer();
    }
    double readMany(int count) override {
        double sum = 0;
        for (int from = 0; from < count; from += inFlight) {
            std::string together;
            for (int i = 0; i < inFlight; ++i)
                together += frame(settingName((from + i) % remoteSettings));
            sendAll(socket_, together);
            for (int i = 0; i < inFlight; ++i)
                sum += answer();
        }
        return sum;
    }
    std::size_t browse() override {
        sendAll(socket_, frame({}));
        std::string names;
        receiveFrame(socket_, names);
        std::vector<std::string> split;
        for (std::size_t at = 0; at < names.size();) {
            const std::size_t end = names.find('\1', at);
            split.push_back(names.substr(at, end - at));
            at = end + 2;
        }
        return split.size();
    }

  private:
    double answer() {
        double value = 0;
        if (!receive(socket_, &value, sizeof value))
            throw std::runtime_error("the other end of the socket is gone");
        return value;
    }

    const int socket_;
};

} // namespace

std::unique_ptr<RemoteStore> openSocketStore(const std::filesystem::path& folder) {
    return std::make_unique<Client>(folder);
}

void serveSocketStore(const std::filesystem::path& folder, const std::function<void()>& ready) {
    const int listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = addressIn(folder);
    if (::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listening, 1) != 0)
        throw std::runtime_error("cannot listen on the socket of the benchmark");
    ready();
    const int client = ::accept(listening, nullptr, nullptr);
    const std::string names = frame(allNames());
    for (std::string name; receiveFrame(client, name);) {
        if (name.empty()) {
            sendAll(client, names);
            continue;
        }
        const double value = std::stod(name.substr(sizeof "setting" - 1));
        sendAll(client, std::string(reinterpret_cast<const char*>(&value), sizeof value));
    }
}

} // namespace bench
