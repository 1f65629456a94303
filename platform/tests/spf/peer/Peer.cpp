// A process of its own for the tests of remote services: does what it reads line by line from standard input,
// and answers each line with one.
//
// Usage: spf_test_peer ENDPOINT_FOLDER

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkFactory.h"
#include "spf/ServiceRuntime.hpp"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

std::atomic<bool> isWatchToFail{false};

} // namespace

/// In place of the system's: the next descriptor is not watched when that is asked for.
extern "C" __attribute__((visibility("default"))) int epoll_ctl(int set, int operation, int fd,
                                                                epoll_event* event) noexcept {
    if (operation == EPOLL_CTL_ADD && isWatchToFail.exchange(false)) {
        errno = ENOSPC;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_epoll_ctl, set, operation, fd, event));
}

namespace {

using namespace varnek::spf;

/// Methods: echo, block (until release), blocked, size, fail, failRemote, throw, odd, die.
class Provider final : public ServiceProvider {
  public:
    Value invoke(const std::string& method, const Value::List& arguments) override {
        if (method == "echo")
            return arguments;
        if (method == "block")
            return block();
        if (method == "blocked") // how many are
            return blocked();
        if (method == "release")
            return release();
        if (method == "size") // an array of that many bytes
            return varnek::data::Array::row(
                std::vector<std::uint8_t>(static_cast<std::size_t>(arguments.at(0).asInteger()), 7));
        return raise(method);
    }

  private:
    Value blocked() {
        const std::lock_guard lock(mutex_);
        return blocked_;
    }
    Value block() {
        std::unique_lock lock(mutex_);
        ++blocked_;
        changed_.wait(lock, [&, before = releases_] { return releases_ != before; });
        --blocked_;
        return "released";
    }
    Value release() {
        const std::lock_guard lock(mutex_);
        ++releases_;
        changed_.notify_all();
        return {};
    }
    static Value raise(const std::string& method) {
        if (method == "fail")
            throw ProviderFailure("test::Failure", "it failed", {Value("field"), Value(std::int64_t{7})});
        if (method == "failRemote")
            throw RemoteError(RemoteErrorKind::malformed, "not those arguments");
        if (method == "throw")
            throw std::runtime_error("something else");
        if (method == "odd")
            throw 7;
        if (method == "die")
            ::raise(SIGKILL);
        throw RemoteError(RemoteErrorKind::unknownMethod, "There is no method \"" + method + '"');
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::int64_t blocked_ = 0;
    int releases_ = 0;
};

SPFConfiguration configuration() {
    return SPFConfiguration::Builder()
        .addRequiredRuntimeServiceProperties({{"host", "peer"}})
        .addServicePublisher("rpcservicepublisher", {"localServiceOnly"})
        .build();
}

class Peer {
  public:
    Peer() {
        framework_.Start();
        context_ = framework_.GetBundleContext();
    }

    std::string answer(const std::string& line) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        try {
            return perform(command, words);
        } catch (const RemoteError& error) {
            return "RemoteError " + std::to_string(static_cast<int>(error.kind()));
        } catch (const std::exception& failure) {
            return std::string("failed: ") + failure.what();
        }
    }

  private:
    std::string perform(const std::string& command, std::istream& words) {
        std::string name, topic;
        if (command == "publish") {
            words >> name;
            publish(name);
        } else if (command == "withdraw") {
            words >> name;
            publications_.erase(name);
        } else if (command == "announce") {
            int count = 0;
            std::size_t bytes = 0; // that come with each number
            words >> name >> topic >> count >> bytes;
            for (std::int64_t i = 0; i < count; ++i)
                publications_.at(name)->announce(topic, {Value(i), std::string(bytes, 'x')});
        } else if (command == "discover") {
            ServiceRuntime::instance().discover(context_);
        } else if (command == "call") { // how a call of another process ends
            words >> name >> topic;
            find(name)->invoke(topic, {}, std::chrono::seconds(10)).get();
        } else if (command == "found") {
            words >> name;
            return find(name) != nullptr ? "yes" : "no";
        } else if (command == "unusable") {
            std::string kinds;
            for (const auto& process : ServiceRuntime::instance().unusableProcesses())
                kinds += std::to_string(static_cast<int>(process.failure.kind()));
            return kinds.empty() ? "none" : kinds;
        } else if (command == "answering") { // others, and whether all that they publish is found then
            std::size_t answering = 0;
            while (answering == 0) {
                answering = ServiceRuntime::instance().answeringProcesses().size();
                std::this_thread::yield();
            }
            return std::to_string(answering) + " " +
                   std::to_string(context_.GetServiceReferences<RemoteService>().size());
        } else if (command == "process") {
            return ServiceRuntime::instance().processName();
        } else if (command == "signals") {
            return keepsSignals() ? "kept" : "changed";
        } else if (command == "fork") {
            words >> name;
            return std::to_string(forkChild(name));
        } else if (command == "failWatch") {
            isWatchToFail = true;
        } else if (command == "exit") {
            std::exit(3);
        } else {
            return "unknown command";
        }
        return "ok";
    }

    void publish(const std::string& name) {
        ServiceDescription description;
        description.name = name;
        description.serviceProperties = {{"group", name}};
        publications_[name] = ServiceRuntime::instance().publish(context_, configuration(), name, description,
                                                                 std::make_shared<Provider>());
    }

    std::shared_ptr<Invokable> find(const std::string& name) {
        for (const auto& reference :
             context_.GetServiceReferences<RemoteService>("(spf.servicename=" + name + ")"))
            if (const auto service = context_.GetService(reference))
                return service->invokable();
        return nullptr;
    }

    bool keepsSignals() {
        const auto handler = [](int) {};
        std::signal(SIGUSR1, handler);
        std::signal(SIGPIPE, SIG_DFL);
        publish("signals");
        struct sigaction user, pipe;
        ::sigaction(SIGUSR1, nullptr, &user);
        ::sigaction(SIGPIPE, nullptr, &pipe);
        return user.sa_handler == static_cast<void (*)(int)>(handler) && pipe.sa_handler == SIG_DFL;
    }

    /// The child asks for what it must not have, tells by its exit code, or goes on for ever.
    pid_t forkChild(const std::string& kind) {
        const auto remote = find("other");
        const pid_t child = ::fork();
        if (child != 0 && kind == "linger")
            return child;
        if (child != 0) {
            int status = 0;
            ::waitpid(child, &status, 0);
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        if (kind == "linger")
            for (;;)
                ::pause();
        const bool isRefused = answer("publish child") == "RemoteError 3" &&
                               answer("discover") == "RemoteError 3" && remote != nullptr &&
                               answerOf(*remote) == RemoteErrorKind::refused;
        publications_.clear();
        std::exit(isRefused ? 42 : 1);
    }
    static RemoteErrorKind answerOf(Invokable& remote) {
        try {
            remote.invoke("echo", {}).get();
        } catch (const RemoteError& error) {
            return error.kind();
        }
        return RemoteErrorKind::malformed;
    }

    cppmicroservices::Framework framework_ = cppmicroservices::FrameworkFactory().NewFramework();
    cppmicroservices::BundleContext context_;
    std::map<std::string, std::unique_ptr<Publication>> publications_;
};

} // namespace

int main(int, char** argv) {
    ServiceRuntime::setEndpointFolder(argv[1]);
    Peer peer;
    for (std::string line; std::getline(std::cin, line);)
        std::cout << peer.answer(line) << std::endl;
}
