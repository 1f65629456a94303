#include "Ending.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace vksettings {

Ending::Ending()
    : signals_(::signalfd(-1, block(), SFD_CLOEXEC), "signalfd"),
      request_(::eventfd(0, EFD_CLOEXEC), "eventfd") {}

const sigset_t* Ending::block() {
    sigemptyset(&mask_);
    sigaddset(&mask_, SIGINT);
    sigaddset(&mask_, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &mask_, nullptr);
    return &mask_;
}

void Ending::request() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(request_.get(), &one, sizeof one);
}

void Ending::wait(Output output) const {
    if (output == Output::watched && ::write(STDOUT_FILENO, "", 0) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot write the output");
    std::array<pollfd, 3> waits{
        {{signals_.get(), POLLIN, 0}, {request_.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    const nfds_t count = output == Output::watched ? waits.size() : waits.size() - 1;
    while (::poll(waits.data(), count, -1) < 0 && errno == EINTR) {
    }
}

} // namespace vksettings
