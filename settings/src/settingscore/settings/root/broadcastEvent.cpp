#include "settingscore/events/BroadcastEvent.hpp"

#include "settingscore/Settings.hpp"
#include "settingscore/events/EventDelivery.hpp"
#include "settingscore/events/EventTypes.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "settingscore/settings/root/TreesOnDemand.hpp"

#include <boost/make_shared.hpp>

namespace settings::core::detail {

template <class Event>
void createAndBroadcastEvent(const RootIndex& tree) {
    const auto root = TreesOnDemand::instance().find(tree)->root;
    EventDelivery::Place place = EventDelivery::reserve(root->treeContext()->events);
    place.complete([&] {
        const NodeIdentity id = root->identity();
        const std::string& className = Event::staticTypeInfo()->qualifiedName();
        return boost::make_shared<Event>(
            root->getThisObject(),
            std::vector<std::u16string>{eventType(className, id), eventType(settingsEventName, id)},
            root->getRootIndex());
    });
    place.tell();
}

template SETTINGSCORE_EXPORT void createAndBroadcastEvent<UpdatePrefdirEvent>(const RootIndex& tree);

} // namespace settings::core::detail
