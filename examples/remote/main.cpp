// Two processes share a group: the child publishes it, the parent uses it. Everything stays on level
// "session", in memory.
#include "settingscore/Settings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/RemoteCallFailed.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "settingscore/startup/init.hpp"
#include "varnek/event/EventManager.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <iostream>

using settings::core::DefaultRootIndex;
using settings::core::Settings;
using varnek::data::Array;

namespace {

boost::shared_ptr<Settings> root() {
    return settings::core::detail::getSettingsRoot(DefaultRootIndex());
}

/// Until somebody closes the pipe.
void publish(int untilClosed) {
    settings::core::init();
    const auto editor = root()->addGroup("sharedEditor", true, false, "session");
    editor->addSetting("width", Array::scalar(80.0), true, false, "session");
    editor->set("width", Array::scalar(100.0), "session");
    settings::core::publishTopLevelGroups({"sharedEditor"});
    char end = 0;
    while (::read(untilClosed, &end, 1) > 0) {
    }
    settings::core::withdrawTopLevelGroups({"sharedEditor"});
}

void use(int publisher) {
    settings::core::init();
    settings::core::attachRemoteGroups();
    if (!settings::core::awaitRemoteGroups({"sharedEditor"}, std::chrono::seconds(30))) {
        std::cout << "nobody publishes the group\n";
        return;
    }
    const auto editor = root()->getChild("sharedEditor");
    std::cout << "width: " << editor->get("width").element<double>() << '\n';

    std::promise<double> changed; // told on a thread of the library
    const varnek::event::ScopedConnection listener = varnek::event::EventManager::instance().subscribe(
        editor->getChild("width")->getListenerValueChangeEventType(),
        [&](const varnek::event::EventHandle& event) {
            const auto& change = dynamic_cast<const settings::core::SettingsValueChangeEvent&>(*event);
            changed.set_value(change.getOldValue().element<double>());
        });
    editor->unset("width", "session");
    std::cout << "width was " << changed.get_future().get() << '\n';

    ::close(publisher); // the other process ends
    try {
        for (;;)
            editor->get("width");
    } catch (const settings::core::exception::RemoteCallFailed& failure) {
        std::cout << "no answer: " << failure.getOperation() << '\n';
    }
}

} // namespace

int main() {
    int pipe[2] = {-1, -1};
    if (::pipe(pipe) != 0)
        return 1;
    const pid_t child = ::fork(); // before the library has threads
    if (child == 0) {
        ::close(pipe[1]);
        publish(pipe[0]);
        return 0;
    }
    ::close(pipe[0]);
    use(pipe[1]);
    ::waitpid(child, nullptr, 0);
}
