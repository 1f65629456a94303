#include "Changes.hpp"

#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <atomic>
#include <mutex>
#include <utility>

namespace vksettings {

namespace {

std::atomic<int> printing{0};

} // namespace

struct Changes::Taker {
    std::mutex mutex;
    Take take; // guarded by mutex; empty once somebody has left

    void operator()(const EventLine& line) {
        const std::lock_guard lock(mutex);
        if (take)
            take(line);
    }
};

// The events of one tree come one at a time, so that lines do not mix.
Changes::Changes(Take take, bool asJson)
    : taker_(std::make_shared<Taker>()),
      connection_(varnek::event::EventManager::instance().subscribe(
          u"settings::core::SettingsEvent",
          [taker = taker_, asJson](const varnek::event::EventHandle& event) {
              const auto* ours = dynamic_cast<const settings::core::SettingsEvent*>(event.get());
              if (ours == nullptr || ours->getRootIndex() != settings::core::DefaultRootIndex())
                  return;
              const EventLine line(*ours, asJson);
              if (!line.text().empty())
                  (*taker)(line);
          })) {
    const std::lock_guard lock(taker_->mutex);
    taker_->take = std::move(take);
}

void Changes::end() {
    connection_.disconnectAndWait();
}

void Changes::leave() {
    connection_.disconnect();
    connection_ = {};
    const std::lock_guard lock(taker_->mutex);
    taker_->take = {};
}

PrintingChanges::PrintingChanges() noexcept {
    ++printing;
}

PrintingChanges::~PrintingChanges() {
    --printing;
}

bool PrintingChanges::isSomewhere() noexcept {
    return printing != 0;
}

PrintedChanges::PrintedChanges(std::ostream& out)
    : changes_([&out](const EventLine& line) { out << line.text() << '\n'; }) {}

} // namespace vksettings
