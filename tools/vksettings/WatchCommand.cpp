// watch: what changes in the tree, until the user has seen enough.

#include "Commands.hpp"
#include "Printable.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

#include "settingscore/PersonalFileWatch.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "varnek/event/EventManager.hpp"
#include "json/Writer.hpp"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

namespace vksettings {

namespace json = varnek::json;
namespace core = settings::core;
using varnek::data::Array;

namespace {

class Descriptor {
  public:
    Descriptor(int fd, const char* what) : fd_(fd) {
        if (fd < 0)
            throw std::system_error(errno, std::generic_category(), what);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { ::close(fd_); }
    int get() const { return fd_; }

  private:
    const int fd_;
};

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

json::Value typeOf(const Array& value) {
    return value.isVoid() ? json::Value() : json::Value(varnek::data::className(value.type()));
}

/// One event as a line.
class Line {
  public:
    Line(const core::SettingsEvent& event, bool asJson) : asJson_(asJson) {
        if (const auto* change = dynamic_cast<const core::SettingsValueChangeEvent*>(&event))
            changed(*change);
        else if (const auto* addition = dynamic_cast<const core::SettingsAddNodeEvent*>(&event))
            added(*addition);
        else if (const auto* removal = dynamic_cast<const core::SettingsRemoveNodeEvent*>(&event))
            removed(*removal);
    }

    /// Empty for events that are no concern of users.
    const std::string& text() const { return text_; }
    /// Whether the event is about the node of that full name or what is below it; every event is about "".
    bool isAbout(const std::string& fullName) const {
        return fullName.empty() || name_ == fullName || name_.starts_with(fullName + ".");
    }

  private:
    void changed(const core::SettingsValueChangeEvent& event) {
        const auto setting = event.getObj();
        const auto group = setting->getParent();
        name_ = setting->getFullName();
        const Array old = event.getOldValue();
        const Array now = group == nullptr ? Array() : group->get(setting->getName());
        json::Object object;
        object.set("event", "changed");
        object.set("oldValue", asJson(old));
        object.set("oldType", typeOf(old));
        object.set("value", asJson(now));
        object.set("type", typeOf(now));
        write(std::move(object), name_ + ": " + shown(old) + " -> " + shown(now));
    }
    void added(const core::SettingsAddNodeEvent& event) {
        const auto node = event.getObj();
        const auto parent = event.getParentObj();
        setName(*parent, *node);
        const Array value = node->isLeafNode() ? parent->get(node->getName()) : Array();
        json::Object object;
        object.set("event", "added");
        object.set("value", asJson(value));
        object.set("type", node->isLeafNode() ? typeOf(value) : json::Value("group"));
        write(std::move(object),
              "added " + name_ + (node->isLeafNode() ? " = " + shown(value) : std::string(".")));
    }
    void removed(const core::SettingsRemoveNodeEvent& event) {
        const auto node = event.getObj();
        setName(*event.getParentObj(), *node);
        json::Object object;
        object.set("event", "removed");
        object.set("type", node->isLeafNode() ? json::Value() : json::Value("group"));
        write(std::move(object), "removed " + name_ + (node->isLeafNode() ? "" : "."));
    }

    /// A node that is gone does not know where it was.
    void setName(const core::Settings& parent, const core::Settings& node) {
        const std::string above = parent.getFullName();
        name_ = above.empty() ? node.getName() : above + "." + node.getName();
    }
    void write(json::Object object, const std::string& forPeople) {
        object.set("name", jsonText(name_));
        text_ = asJson_ ? json::write(json::Value(std::move(object))) : printable(forPeople);
    }

    const bool asJson_;
    std::string name_;
    std::string text_;
};

} // namespace

void watch(const WatchOptions& options, std::ostream& out) {
    const Ending ending;
    const std::string name = options.name.empty() ? std::string() : resolve(options.name)->getFullName();
    for (const Handle& group : root()->getChildren())
        if (name.empty())
            canBeLoaded(group); // nobody can tell what changes in a group that nobody has read
    warnOfLoadProblems();
    // The events of one tree come one at a time, so that lines do not mix.
    const auto print = [&](const varnek::event::EventHandle& event) {
        const auto* ours = dynamic_cast<const core::SettingsEvent*>(event.get());
        if (ours == nullptr || ours->getRootIndex() != core::DefaultRootIndex())
            return;
        const Line line(*ours, options.json);
        if (line.text().empty() || !line.isAbout(name))
            return;
        out << line.text() << '\n' << std::flush;
        if (!out)
            ending.request();
    };
    const auto connection =
        varnek::event::EventManager::instance().subscribe(u"settings::core::SettingsEvent", print);
    {
        const core::PersonalFileWatch files;
        ending.wait();
    }
    connection.disconnectAndWait();
}

} // namespace vksettings
