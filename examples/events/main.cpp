// Hears of changes in the two ways there are: at once, as a listener, and on a thread of one's own, through
// the event queue. Everything here stays on level "session", in memory.
#include "settingscore/MSettings.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/startup/init.hpp"
#include "varnek/event/EventManager.hpp"

#include <iostream>
#include <mutex>
#include <queue>
#include <thread>

using settings::core::DefaultRootIndex;
using settings::core::MSettings;
using settings::core::Settings;
using settings::core::SettingsEvent;
using settings::core::SettingsValueChangeEvent;
using varnek::data::Array;

namespace {

/// Shows the width of the editor. Its listener uses the panel, so the destructor waits for a call of it.
class Panel {
  public:
    explicit Panel(const Settings& width)
        : connection_(varnek::event::EventManager::instance().subscribe(
              width.getListenerValueChangeEventType(),
              [this](const varnek::event::EventHandle& event) { show(*event); })) {}
    ~Panel() { connection_.disconnectAndWait(); }
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

  private:
    void show(const varnek::event::Event& event) {
        const auto& change = dynamic_cast<const SettingsValueChangeEvent&>(event);
        const std::lock_guard lock(mutex_); // changes are made on any thread
        std::cout << "panel heard: " << change.getObj()->getName() << " was "
                  << change.getOldValue().element<double>() << '\n';
    }

    std::mutex mutex_;
    varnek::event::ScopedConnection connection_;
};

/// What a front end does on its own thread whenever it has time.
void fetchEvents() {
    std::queue<boost::shared_ptr<const SettingsEvent>> events;
    MSettings::eventQueue(events);
    std::cout << "queued: " << events.size() << " events";
    if (!events.empty())
        std::cout << ", the first about " << events.front()->getObj()->getName();
    std::cout << '\n';
}

} // namespace

int main() {
    settings::core::init();
    const auto root = MSettings::getMSettingsRoot(DefaultRootIndex());
    const auto editor = root->addGroup("exampleEditor", true, false, "session");
    const auto width = editor->addSetting("width", Array::scalar(80.0), true, false, "session");
    MSettings::enableEventQueue(DefaultRootIndex(), true);
    {
        const Panel panel(*width);
        std::thread([&] { editor->set("width", 100.0, "session"); }).join();
    }
    editor->set("width", 120.0, "session"); // no panel any more, but the queue is on
    fetchEvents();
    std::cout << "width: " << editor->get<double>("width") << '\n';
}
