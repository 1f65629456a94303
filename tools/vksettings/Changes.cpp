#include "Changes.hpp"

#include "settingscore/events/SettingsEvent.hpp"
#include "settingscore/level/RootIndex.hpp"

#include <atomic>

namespace vksettings {

namespace {

std::atomic<int> printing{0};

} // namespace

// The events of one tree come one at a time, so that lines do not mix.
Changes::Changes(Take take, bool asJson)
    : connection_(varnek::event::EventManager::instance().subscribe(
          u"settings::core::SettingsEvent",
          [take = std::move(take), asJson](const varnek::event::EventHandle& event) {
              const auto* ours = dynamic_cast<const settings::core::SettingsEvent*>(event.get());
              if (ours == nullptr || ours->getRootIndex() != settings::core::DefaultRootIndex())
                  return;
              const EventLine line(*ours, asJson);
              if (!line.text().empty())
                  take(line);
          })) {}

void Changes::end() {
    connection_.disconnectAndWait();
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
