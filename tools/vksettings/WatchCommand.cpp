// watch: what changes in the tree, until the user has seen enough.

#include "Changes.hpp"
#include "Commands.hpp"
#include "Descriptor.hpp"
#include "Tree.hpp"

#include "settingscore/PersonalFileWatch.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace vksettings {

namespace core = settings::core;

namespace {

/// Made before any other thread, so that the signals reach no other one.
class Ending {
  public:
    Ending()
        : signals_(::signalfd(-1, block(), SFD_CLOEXEC), "signalfd"),
          request_(::eventfd(0, EFD_CLOEXEC), "eventfd") {}

    /// From any thread.
    void request() const {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(request_.get(), &one, sizeof one);
    }
    /// Returns on Ctrl-C and SIGTERM, when it is requested, and when nobody reads the output any more.
    void wait() const {
        std::array<pollfd, 3> waits{
            {{signals_.get(), POLLIN, 0}, {request_.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
        while (::poll(waits.data(), waits.size(), -1) < 0 && errno == EINTR) {
        }
    }

  private:
    const sigset_t* block() {
        sigemptyset(&mask_);
        sigaddset(&mask_, SIGINT);
        sigaddset(&mask_, SIGTERM);
        ::pthread_sigmask(SIG_BLOCK, &mask_, nullptr);
        return &mask_;
    }

    sigset_t mask_{};
    const Descriptor signals_;
    const Descriptor request_;
};

} // namespace

void watch(const WatchOptions& options, std::ostream& out) {
    const Ending ending;
    const std::string name = options.name.empty() ? std::string() : resolve(options.name)->getFullName();
    for (const Handle& group : root()->getChildren())
        if (name.empty())
            canBeLoaded(group); // nobody can tell what changes in a group that nobody has read
    warnOfLoadProblems();
    const PrintingChanges printing;
    Changes changes(
        [&](const EventLine& line) {
            if (!line.isAbout(name))
                return;
            out << line.text() << '\n' << std::flush;
            if (!out)
                ending.request();
        },
        options.json);
    {
        const core::PersonalFileWatch files;
        ending.wait();
    }
    changes.end();
}

} // namespace vksettings
