// The default tree through the language front ends' handle: the event queue, events about the whole tree,
// reset, definitions with their values in one step, and the front end's event handler.

#include "support/Definitions.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/events/BroadcastEvent.hpp"
#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/events/UpdatePrefdirEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/root/RootStates.hpp"
#include "settingscore/validation/definition/MProxyEventHandlerReset.hpp"
#include "settingscore/validation/definition/SettingsMProxyEventHandler.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace {

using namespace settings::test;
using namespace settings::core;
using varnek::event::EventManager;
using varnek::event::ScopedConnection;
using Lines = std::vector<std::string>;
using Events = std::queue<boost::shared_ptr<const SettingsEvent>>;
using MHandle = boost::shared_ptr<MSettings>;

/// Of the tree of the process, which stays as it was.
struct DefaultTree : testing::Test {
    ~DefaultTree() override {
        MSettings::enableEventQueue(DefaultRootIndex(), false);
        fetch();
        for (const Handle& child : MSettings::getMSettingsRoot(DefaultRootIndex())->getChildren())
            child->getParent()->removeNode(child->getName());
    }
    static Events fetch() {
        Events events;
        MSettings::eventQueue(events);
        return events;
    }
    MHandle root = MSettings::getMSettingsRoot(DefaultRootIndex());
    Handle group = root->addGroup("queued", true, false, "user");
    Handle setting = group->addSetting("s", Array::scalar(1.0), true, false, "user");
};

TEST_F(DefaultTree, ASetGivesOneQueuedEvent) {
    EXPECT_TRUE(fetch().empty()); // off at first
    MSettings::enableEventQueue(DefaultRootIndex(), true);
    group->set("s", 2.0, "user");
    Events events = fetch();
    ASSERT_EQ(1U, events.size());
    const auto change = boost::dynamic_pointer_cast<const SettingsValueChangeEvent>(events.front());
    ASSERT_NE(nullptr, change);
    EXPECT_EQ(1.0, change->getOldValue().element<double>());
    EXPECT_TRUE(Settings::equal(setting, change->getObj()));
    EXPECT_TRUE(fetch().empty());
    group->set("s", 2.0, "user"); // nothing changes
    EXPECT_TRUE(fetch().empty());
    group->set("s", 3.0, "user");
    MSettings::enableEventQueue(DefaultRootIndex(), false);
    group->set("s", 4.0, "user");
    EXPECT_EQ(1U, fetch().size()); // what was queued stays
    EXPECT_THROW(MSettings::enableEventQueue(RootIndex(12, true, false), true),
                 VARNEK::settings::core::SettingsLibraryNotInitialized);
}

TEST_F(DefaultTree, AnEventAboutTheWholeTree) {
    std::vector<boost::shared_ptr<const UpdatePrefdirEvent>> heard;
    const auto hear = [&](const auto& event) {
        heard.push_back(boost::dynamic_pointer_cast<const UpdatePrefdirEvent>(event));
    };
    MSettings::enableEventQueue(DefaultRootIndex(), true);
    detail::setEventNotifyFunction(hear);
    const ScopedConnection byClass =
        EventManager::instance().subscribe(u"settings::core::UpdatePrefdirEvent", hear);
    const ScopedConnection byRoot =
        EventManager::instance().subscribe(root->getGlobalListenerEventTypes(), hear);
    const std::u16string className = u"settings::core::SettingsEvent";
    const std::u16string rootId = root->getGlobalListenerEventTypes().front().substr(className.size());
    const ScopedConnection byClassAndRoot =
        EventManager::instance().subscribe(u"settings::core::UpdatePrefdirEvent" + rootId, hear);
    detail::createAndBroadcastEvent<UpdatePrefdirEvent>(DefaultRootIndex());
    detail::setEventNotifyFunction({});
    ASSERT_EQ(4U, heard.size());
    for (const auto& event : heard) {
        ASSERT_NE(nullptr, event);
        EXPECT_TRUE(Settings::equal(root, boost::const_pointer_cast<Settings>(event->getObj())));
        EXPECT_EQ(RootIndex(DefaultRootIndex()), event->getRootIndex());
    }
    EXPECT_EQ(1U, fetch().size());
    EXPECT_THROW(detail::createAndBroadcastEvent<UpdatePrefdirEvent>(InvalidRootIndex()),
                 VARNEK::settings::core::SettingsLibraryNotInitialized);
}

TEST_F(DefaultTree, Reset) {
    group->set("s", 2.0, "user");
    group->set("s", 3.0, "session");
    MSettings::enableEventQueue(DefaultRootIndex(), true);
    group->set("s", 4.0, "session");
    const MHandle renewed = MSettings::reset();
    EXPECT_FALSE(Settings::equal(*root, *renewed));
    EXPECT_TRUE(Settings::equal(*renewed, *detail::getSettingsRoot(DefaultRootIndex())));
    EXPECT_EQ(2.0, renewed->getByFullName<double>("queued.s")); // from its file
    EXPECT_EQ(1U, fetch().size());
    renewed->getChild("queued")->set("s", 5.0, "user");
    EXPECT_EQ(1U, fetch().size());                       // the queue is still on
    EXPECT_FALSE(group->isConnectedToTheSettingsTree()); // though its root is held
    EXPECT_EQ(4.0, group->get<double>("s"));
    group->set("s", 6.0, "user");
    root->addGroup("late", true, false, "user");
    EXPECT_TRUE(fetch().empty());
    EXPECT_EQ(5.0, renewed->getByFullName<double>("queued.s"));
}

TEST_F(DefaultTree, DefinedAndSetInOneStep) {
    const auto create = [&](const char* name, const FactorySettingProperties& definition,
                            const char* level = "user") {
        return Settings::createAndSetValue(
            name, FactorySettingProperties(false, false, {}, {}, {}, false, false, {}), definition, level);
    };
    Additions told;
    const Handle made = create("made.inner.s", definitionOf(Array::scalar(1.0)));
    EXPECT_EQ(Lines{"/made"}, told.lines);
    EXPECT_EQ("made.inner.s", made->getFullName());
    EXPECT_EQ("user", made->getOriginLevel());
    EXPECT_TRUE(made->isVisible());
    EXPECT_FALSE(made->getParent()->isVisible()); // as the group's definition says
    EXPECT_EQ(1.0, root->getByFullName<double>("made.inner.s"));
    EXPECT_TRUE(Settings::equal(made, create("made.inner.s", definitionOf(Array::scalar(2.0)), "session")));
    EXPECT_EQ(2.0, root->getByFullName<double>("made.inner.s"));
    EXPECT_EQ(1.0, root->getByFullName<double>("made.inner.s", "user"));
    create("made.t", definitionOf(Array::scalar(3.0)));
    EXPECT_EQ((Lines{"/made", "made/t"}), told.lines);
    create("made.t", definitionOf({})); // no value: nothing is set
    EXPECT_EQ(3.0, root->getByFullName<double>("made.t"));

    FactorySettingProperties refused = definitionOf(Array::scalar(1.0), refusing(1.0));
    const std::tuple<const char*, const char*, const char*> rows[] = {
        {"runtime_error", "fresh.s", "user"},
        {"CanNotAddKeyToRootException", "s", "user"},
        {"InvalidNodePath", "", "user"},
        {"InvalidNodePath", "made..s", "user"},
        {"InvalidNodePath", "made.s.", "user"},
        {"UnSupportedLevel", "fresh.s", "nowhere"},
        {"CantModifyValuesOnReadOnlyLevel", "fresh.s", "factory"},
        {"NotANodeName", "made.t.s", "user"},
        {"NotAKeyName", "made.inner", "user"},
    };
    for (const auto& [expected, name, level] : rows)
        EXPECT_EQ(expected, failureOf([&, n = name, l = level] { create(n, refused, l); })) << name;
    EXPECT_EQ(nullptr, root->getChild("fresh"));
    EXPECT_EQ(2U, told.lines.size());

    const RootIndex own(13, true, false);
    ASSERT_TRUE(MSettings::createEmptySettingsFor(own));
    FactorySettingProperties elsewhere = definitionOf(Array::scalar(9.0));
    elsewhere.setRoot(MSettings::getMSettingsRoot(own));
    EXPECT_EQ(own, create("made.own", elsewhere, "session")->getRootIndex());
    EXPECT_EQ("InvalidNodePath", failureOf([&] { root->getSettingsByFullName("made.own"); }));
    detail::RootStates::instance().erase(own.index());
}

/// The function runs once for a new value, sees its setting where it is to stand, and what it accepted is
/// stored.
TEST_F(DefaultTree, WhatIsDefinedInOneStepIsCheckedOnce) {
    const FactorySettingProperties groups(true, false, {}, {}, {}, false, false, {});
    NumericMetaData<MustBeScalar> integer;
    integer.mustBeInteger();
    Lines told;
    bool refuses = false;
    FactorySettingProperties checked(
        true, false, Array::scalar(3.0),
        CPPValidator(
            [&](const boost::shared_ptr<const Settings>& about, const std::string&, const Array& value) {
                told.push_back(about->getFullName() + " in " + about->getParent()->getFullName() + " " +
                               std::string(varnek::data::className(value.type())));
                if (refuses)
                    throw std::runtime_error("refused");
            },
            "p", "f"),
        {}, false, false, {integer});
    for (const char* name : {"queued.fresh", "queued.a.b.fresh", "top.fresh"}) {
        told.clear();
        const Handle made = Settings::createAndSetValue(name, groups, checked, "user");
        const std::string text(name);
        EXPECT_EQ(Lines{text + " in " + text.substr(0, text.rfind('.')) + " int64"}, told);
        EXPECT_EQ(Array::scalar(std::int64_t{3}), made->getParent()->get("fresh"));
    }
    refuses = true;
    Additions additions;
    for (const char* name : {"queued.refused", "queued.c.refused", "other.refused"})
        EXPECT_EQ("runtime_error",
                  failureOf([&] { Settings::createAndSetValue(name, groups, checked, "user"); }));
    EXPECT_EQ(nullptr, group->getChild("refused"));
    EXPECT_EQ(nullptr, group->getChild("c"));
    EXPECT_EQ(nullptr, root->getChild("other"));
    EXPECT_EQ(Lines{}, additions.lines);
    EXPECT_EQ("UnsupportedType", failureOf([&] {
                  Settings::createAndSetValue("queued.bad", groups,
                                              definitionOf(Array::scalar(std::complex<double>(1, 1))),
                                              "session");
              }));
}

TEST_F(DefaultTree, EachTreeHasAQueue) {
    const RootIndex own(13, true, false);
    ASSERT_TRUE(MSettings::createEmptySettingsFor(own));
    for (const RootIndex& tree : {own, RootIndex(DefaultRootIndex())})
        MSettings::enableEventQueue(tree, true);
    MSettings::getMSettingsRoot(own)->addGroup("there", true, false, "session");
    group->set("s", 2.0, "session");
    Events events;
    MSettings::eventQueue(own, events);
    ASSERT_EQ(1U, events.size());
    EXPECT_EQ("there", events.front()->getObj()->getName());
    EXPECT_EQ(own, events.front()->getRootIndex());
    MSettings::eventQueue(DefaultRootIndex(), events); // goes to the end
    ASSERT_EQ(2U, events.size());
    EXPECT_EQ("s", events.back()->getObj()->getName());
    EXPECT_TRUE(fetch().empty());
    MSettings::eventQueue(RootIndex(14, true, false), events);
    MSettings::eventQueue(InvalidRootIndex(), events);
    EXPECT_EQ(2U, events.size());
    detail::RootStates::instance().erase(own.index());
}

struct CountingHandler : SettingsMProxyEventHandler {
    void handleEvent(const boost::shared_ptr<const SettingsEvent>& event) override {
        names.push_back(event->getObj()->getName());
    }
    Lines names;
};

TEST_F(DefaultTree, TheFrontEndsHandlerIsInstalledOnce) {
    EXPECT_FALSE(SettingsMProxyEventHandler::isInitialized());
    EXPECT_EQ("invalid_argument", failureOf([] { SettingsMProxyEventHandler::initMProxyEventHandler({}); }));
    const auto first = boost::make_shared<CountingHandler>(), second = boost::make_shared<CountingHandler>();
    EXPECT_TRUE(SettingsMProxyEventHandler::initMProxyEventHandler(first));
    EXPECT_TRUE(SettingsMProxyEventHandler::isInitialized());
    EXPECT_FALSE(SettingsMProxyEventHandler::initMProxyEventHandler(second));
    group->set("s", 2.0, "session");
    group->addGroup("g", true, false, "session");
    EXPECT_EQ((Lines{"s", "g"}), first->names);
    EXPECT_EQ(Lines{}, second->names);
    detail::removeMProxyEventHandler();
    EXPECT_FALSE(SettingsMProxyEventHandler::isInitialized());
}

} // namespace
