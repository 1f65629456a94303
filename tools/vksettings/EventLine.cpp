#include "EventLine.hpp"

#include "Printable.hpp"
#include "Tree.hpp"
#include "ValueText.hpp"

#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/spf/RemoteGroups.hpp"
#include "json/Writer.hpp"

namespace vksettings {

namespace json = varnek::json;
namespace core = settings::core;
using varnek::data::Array;

namespace {

json::Value typeOf(const Array& value) {
    return value.isVoid() ? json::Value() : json::Value(varnek::data::className(value.type()));
}

ShapedArray valueOf(const core::Settings& setting) {
    const auto group = setting.getParent(); // none when it has been removed since
    if (group == nullptr)
        return {};
    return core::isRemote(setting) ? shapedValue(*group, setting.getName()) // one call
                                   : effectiveValue({group, setting.getName(), {}}).value;
}

} // namespace

EventLine::EventLine(const core::SettingsEvent& event, bool asJson)
    : asJson_(asJson), isRemote_(core::isRemote(*event.getObj())) {
    if (const auto* change = dynamic_cast<const core::SettingsValueChangeEvent*>(&event))
        changed(*change);
    else if (const auto* addition = dynamic_cast<const core::SettingsAddNodeEvent*>(&event))
        added(*addition);
    else if (const auto* removal = dynamic_cast<const core::SettingsRemoveNodeEvent*>(&event))
        removed(*removal);
}

void EventLine::changed(const core::SettingsValueChangeEvent& event) {
    const auto setting = event.getObj();
    name_ = setting->getFullName();
    // Events do not tell a list of one element from the element: the value that follows does.
    const ShapedArray now = valueOf(*setting);
    const ShapedArray old(event.getOldValue(), now.second);
    json::Object object;
    object.set("event", "changed");
    object.set("oldValue", asJson(old));
    object.set("oldType", typeOf(old.first));
    object.set("value", asJson(now));
    object.set("type", typeOf(now.first));
    write(std::move(object),
          name_ + ": " + shown(old.first, old.second) + " -> " + shown(now.first, now.second));
}

void EventLine::added(const core::SettingsAddNodeEvent& event) {
    const auto node = event.getObj();
    const auto parent = event.getParentObj();
    setName(*parent, *node);
    if (isRemote_)
        return cameOrWent("attached");
    const ShapedArray value = node->isLeafNode() ? valueOf(*node) : ShapedArray();
    json::Object object;
    object.set("event", "added");
    object.set("value", asJson(value));
    object.set("type", node->isLeafNode() ? typeOf(value.first) : json::Value("group"));
    write(std::move(object),
          "added " + name_ +
              (node->isLeafNode() ? " = " + shown(value.first, value.second) : std::string(".")));
}

/// A group of another process, which may not answer any more.
void EventLine::cameOrWent(const char* how) {
    json::Object object;
    object.set("event", how);
    object.set("type", "group");
    write(std::move(object), how + (" " + name_) + ".");
}

void EventLine::removed(const core::SettingsRemoveNodeEvent& event) {
    const auto node = event.getObj();
    setName(*event.getParentObj(), *node);
    if (isRemote_)
        return cameOrWent("detached");
    json::Object object;
    object.set("event", "removed");
    object.set("type", node->isLeafNode() ? json::Value() : json::Value("group"));
    write(std::move(object), "removed " + name_ + (node->isLeafNode() ? "" : "."));
}

/// A node that is gone does not know where it was.
void EventLine::setName(const core::Settings& parent, const core::Settings& node) {
    const std::string above = parent.getFullName();
    name_ = above.empty() ? node.getName() : above + "." + node.getName();
}

void EventLine::write(json::Object object, const std::string& forPeople) {
    object.set("name", jsonText(name_));
    text_ = asJson_ ? json::write(json::Value(std::move(object))) : printable(forPeople);
}

} // namespace vksettings
