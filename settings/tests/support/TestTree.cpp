#include "support/TestTree.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"
#include "settingscore/events/Notification.hpp"
#include "settingscore/events/SettingsAddNodeEvent.hpp"
#include "settingscore/events/SettingsRemoveNodeEvent.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"

#include <boost/core/demangle.hpp>
#include <boost/make_shared.hpp>

#include <fstream>
#include <sstream>

namespace settings::test {

using namespace core::detail;
using core::LevelIndex;

// ---- records ----

void RecordedRequests::requestSave(const NodePtr& topLevelGroup, LevelIndex level) {
    add("save " + topLevelGroup->getName() + " " + std::string(levelName(level)));
}

void RecordedRequests::requestDelete(const NodePtr& topLevelGroup, const NodePtr&, LevelIndex level) {
    if (topLevelGroup->hasAnythingToPersist(level)) // the others have no file
        add("delete " + topLevelGroup->getName() + " " + std::string(levelName(level)));
}

void RecordedRequests::loadUserSettings(const NodePtr& topLevelGroup) {
    add("load " + topLevelGroup->getName());
}

void RecordedRequests::add(std::string line) {
    const std::lock_guard lock(mutex_);
    lines_.push_back(std::move(line));
}

std::vector<std::string> RecordedRequests::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
}

namespace {

std::mutex eventsMutex;
std::vector<std::string> events;

std::string valueText(const Array& value) {
    if (value.isVoid())
        return "nothing";
    if (value.type() == varnek::data::TypeCode::float64 && value.numberOfElements() == 1) {
        std::ostringstream text;
        text << value.element<double>();
        return text.str();
    }
    return std::string(varnek::data::className(value.type())) + " " + varnek::data::dimensionsText(value);
}

std::string describe(const core::SettingsEvent& event) {
    if (const auto* change = dynamic_cast<const core::SettingsValueChangeEvent*>(&event))
        return "changed " + change->getObj()->getFullName() + " was " + valueText(change->getOldValue());
    if (const auto* add = dynamic_cast<const core::SettingsAddNodeEvent*>(&event))
        return "added " + add->getObj()->getFullName() + " to " + add->getParentObj()->getFullName();
    if (const auto* remove = dynamic_cast<const core::SettingsRemoveNodeEvent*>(&event))
        return "removed " + remove->getObj()->getFullName() + " from " +
               remove->getParentObj()->getFullName();
    return "another event";
}

} // namespace

RecordedEvents::RecordedEvents() {
    setEventNotifyFunction([](const boost::shared_ptr<const core::SettingsEvent>& event) {
        std::string line = describe(*event);
        const std::lock_guard lock(eventsMutex);
        events.push_back(std::move(line));
    });
}

RecordedEvents::~RecordedEvents() {
    setEventNotifyFunction({});
    take();
}

std::vector<std::string> RecordedEvents::take() {
    const std::lock_guard lock(eventsMutex);
    return std::exchange(events, {});
}

// ---- trees ----

TestTree::TestTree(bool connected) : requests(boost::make_shared<RecordedRequests>()) {
    TreeContext context;
    context.rootIndex = core::DefaultRootIndex();
    context.connected = connected;
    context.saves = requests;
    rootNode = SettingsImplRoot::make(std::move(context));
    root = rootNode->getThisObject();
}

Handle TestTree::group(const std::string& name) const {
    return childGroup(root, name);
}

Handle TestTree::childGroup(const Handle& parent, const std::string& name, core::ReadOnlyState readOnly,
                            LevelIndex origin) {
    NodeSpec spec;
    spec.name = name;
    spec.readOnly = readOnly;
    spec.origin = origin;
    const auto node = SettingsImpl::makeGroup(std::move(spec));
    SettingsAccess::node(*parent)->adoptChildren({node});
    return node->getThisObject();
}

Handle TestTree::setting(const Handle& group, const std::string& name, const Array& factoryValue,
                         core::ReadOnlyState readOnly, const std::string& alias) {
    FactorySettingProperties definition(true, false, factoryValue, {}, {}, false, false, {});
    definition.setReadOnlyState(readOnly);
    definition.setAliasName(std::string(alias));
    return setting(group, name, definition);
}

Handle TestTree::setting(const Handle& group, const std::string& name,
                         const FactorySettingProperties& definition) {
    const auto node = SettingsImpl::makeSetting(NodeSpec::from(name, definition, LevelIndex::factory));
    if (const Array& value = definition.getFactoryValue(); !value.isVoid())
        node->loadValue(LevelIndex::factory, {value, settingscore::boostany::isVectorShape(value)});
    SettingsAccess::node(*group)->adoptChildren({node});
    return node->getThisObject();
}

Handle standaloneGroup(const std::string& name, core::ReadOnlyState readOnly) {
    NodeSpec spec;
    spec.name = name;
    spec.readOnly = readOnly;
    return SettingsImpl::makeGroup(std::move(spec))->getThisObject();
}

void load(const Handle& setting, LevelIndex level, const Array& value) {
    SettingsAccess::node(*setting)->loadValue(level, {value, false});
}

std::string classOf(const std::exception& failure) {
    const std::string full = boost::core::demangle(typeid(failure).name());
    const std::size_t plain = full.find('<') == std::string::npos ? full.size() : full.find('<');
    const std::size_t colons = full.rfind("::", plain);
    return colons == std::string::npos ? full : full.substr(colons + 2, plain - colons - 2);
}

std::string golden(const std::string& name) {
    std::ifstream file(std::string(GOLDEN_FOLDER) + "/" + name);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

} // namespace settings::test
