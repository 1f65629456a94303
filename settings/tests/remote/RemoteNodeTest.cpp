// What only a node of another process does: it refuses, tells of changes, and fails when nobody answers.

#include "remote/SharedPlace.hpp"

#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingExplanation.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/spf/RemoteMethods.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "spf/Limits.hpp"
#include "support/Definitions.hpp"
#include "support/LogLines.hpp"
#include "json/Parser.hpp"

#include <boost/any.hpp>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

namespace {

using namespace settings::core;
using namespace settings::test;
using settings::core::detail::SettingsAccess;
using settings::core::exception::RemoteCallFailed;

struct RemoteNode : SharedPlace {
    /// The process that publishes "editor", with these steps, and a client of it.
    void withProvider(OtherProcess::Steps steps,
                      const std::function<void(OtherProcess&, const Handle&)>& expectations) const {
        OtherProcess provider(publisher("provider"), std::move(steps));
        inAnotherProcess([&] {
            start("client");
            ASSERT_EQ("", provider.started());
            expectations(provider, attached());
        });
    }
};

/// The class and the text of what an operation raises.
std::string refusal(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const std::exception& failure) {
        return classOf(failure) + ": " + failure.what();
    }
    return "nothing";
}

TEST_F(RemoteNode, RefusesEverythingElseInItsOwnWords) {
    withProvider({}, [](OtherProcess&, const Handle& editor) {
        const auto node = SettingsAccess::mutableNode(*editor);
        const Handle font = editor->getChild("font");
        const auto setting = SettingsAccess::mutableNode(*editor->getChild("size"));
        const auto definition = definitionOf(Array::scalar(1.0));
        const std::string loading =
            "Loading user settings remotely (via remote node editor) is not supported "
            "yet.";
        const std::string connection =
            "Cannot check connection to the setting tree of editor via remote node on another Host.";
        const std::pair<std::function<void()>, std::string> table[] = {
            {[&] { editor->addSetting("new", Array::scalar(1.0), true, false, "user"); },
             "AddingSettingRemotelyIsNotSupported: Adding setting remotely (via remote node editor) is not "
             "supported yet."},
            {[&] { editor->addGroup("new", true, false, "user"); },
             "AddingSettingsGroupRemotelyIsNotSupported: Adding settings group remotely (via remote node "
             "editor) is not supported yet."},
            {[&] { editor->isConnectedToTheSettingsTree(); },
             "ConnectionToSettingsTreeCannotBeCheckedRemotely: " + connection},
            {[&] { editor->getDataTypeIndex("size"); },
             "DataTypeIndexCannotBeRetrievedRemotely: Cannot retrieve the data type index via remote node "
             "editor on another Host."},
            {[&] { node->registerFactoryFile(u"f.vksettings", u"/r", {}, false, "g"); },
             "FactoryFileCannotBeRegisteredRemotely: Cannot register the factory file f.vksettings in "
             "resources folder /r via the remote node editor; local node must be used for registration."},
            {[&] { editor->reloadFactoryFile("g"); },
             "FactoryFileCannotBeReloadedRemotely: Cannot reload the factory file g via the remote node "
             "editor; local node must be used for reloading."},
            {[&] { node->writeFactoryFile(u"f", {}); }, "FactoryFileCannotBeWrittenRemotely: Cannot write "
                                                        "the factory file f via the remote node editor; "
                                                        "local node must be used for writing factory files."},
            {[&] { editor->getRootIndex(); },
             "GetRootIndexShouldNotBeCalledRemotely: SettingsNodeImpl::getRootIndex should not be called "
             "remotely (via remote node editor)."},
            {[&] { node->getThisObjectImpl(); }, "GetThisObjectImplCannotBeCalledRemotely: " + connection},
            {[&] { editor->getVersionNumber(); },
             "GettingVersionNumberRemotelyNotSupported: Getting version number remotely (via remote node "
             "editor) is not supported yet."},
            {[&] { node->loaderAdded("g"); }, "LoaderAddedCannotBeCalledRemotely: The "
                                              "SettingsNodeImpl::loaderAdded cannot be called on remote "
                                              "node editor"},
            {[&] { editor->mergeDescendants(standaloneGroup("editor"), "user"); },
             "MergeDescendantsShouldNotBeCalledRemotely: SettingsNodeImpl::mergeDescendants should not be "
             "called remotely (via remote node editor)."},
            {[&] { editor->set("size", Array::scalar(1.0), "user"); },
             "MultipleSetShouldNotBeCalledRemotely: " + loading},
            {[&] { editor->set<double>("size", 1.0, "user"); },
             "MultipleSetShouldNotBeCalledRemotely: " + loading},
            {[&] { editor->setAny("size", boost::any(1.0), "user"); },
             "MultipleSetShouldNotBeCalledRemotely: " + loading},
            {[&] {
                 Settings::setTogether({{editor, Array::scalar(1.0)}}, "user", true);
             },
             "MultipleSetShouldNotBeCalledRemotely: " + loading},
            {[&] {
                 SettingsAccess::multipleValidate({{editor, {}}}, true);
             },
             "MultipleValidateShouldNotBeCalledRemotely: " + loading},
            {[&] { node->setParent(setting); },
             "SettingParentRemotelyNotSupported: Remotely assigning a new parent node to a given node "
             "(editor) is not supported."},
            {[&] { setting->setParent({}); },
             "SettingParentRemotelyNotSupported: Remotely assigning a new parent node to a given node (size) "
             "is not supported."},
            {[&] { setting->setValidator({}); },
             "SettingValidatorRemotelyNotSupported: Setting validator remotely (via remote node size) is not "
             "supported yet."},
            {[&] { font->get<std::u16string>("family"); },
             "SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray: Cannot remotely retrieve value for "
             "setting "
             "family on the settings tree path editor.font.  Remote setting value retrieval may be performed "
             "only via GetMdArray."},
            {[&] { root()->getByFullName<double>("editor.size"); },
             "SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray: Cannot remotely retrieve value for "
             "setting "
             "size on the settings tree path editor.  Remote setting value retrieval may be performed only "
             "via GetMdArray."},
            {[&] { editor->getAny("size"); },
             "SettingValueCanBeRetrievedRemotelyOnlyViaGetMDArray: Cannot remotely retrieve value for "
             "setting "
             "size on the settings tree path editor.  Remote setting value retrieval may be performed only "
             "via GetMdArray."},
            {[&] { node->createFactorySetting("k", definition, false); },
             "SettingsCannotBeConstructedRemotely: Cannot construct setting k via the remote node for "
             "editor; "
             "local node must be used for construction of settings."},
            {[&] { setting->validate(); },
             "ValidatingSettingValuesRemotelyNotSupported: Remotely validating setting values for a given "
             "node (size) is not supported."},
            {[&] { Settings::createAndSetValue("editor.font.fresh", definition, definition, "user"); },
             "AddingSettingRemotelyIsNotSupported: Adding setting remotely (via remote node font) is not "
             "supported yet."},
            {[&] { lastSave(*editor, "user"); },
             "ConnectionToSettingsTreeCannotBeCheckedRemotely: " + connection},
            {[&] { awaitSave(*editor, "user"); },
             "ConnectionToSettingsTreeCannotBeCheckedRemotely: " + connection},
            {[&] { lastSave(*editor, "nowhere"); }, refusal([&] { lastSave(*root(), "nowhere"); })},
            {[&] { explain(*editor); },
             "NotAKeyName: The input name is a sub node name under the parent node. It is not a settings "
             "name."},
            // what the other process serves is not refused here
            {[&] { node->loadUserSettingsOncePerPrefdir(); }, "nothing"},
            {[&] { node->setSyncWithVCOSTree(true); }, "nothing"},
            // of this process's own operations
            {[&] { root()->removeNode("editor"); },
             "AttemptedRemovalOfFactoryGroupOrSetting: Failed to update settings. This update requires full "
             "write permissions."},
            {[&] { root()->addGroup("Editor", true, false, "user"); },
             "ErrorAddingTopLevelNode: The product name has already existed. Product name cannot only vary "
             "by "
             "case."},
            {[&] {
                 Settings::setTogether({{root()->getChild("shell")->getChild("x"), Array::scalar(1.0)},
                                        {editor->getChild("size"), Array::scalar(1.0)}},
                                       "user", true);
             },
             "MultipleSetShouldNotBeCalledRemotely: Loading user settings remotely (via remote node size) is "
             "not supported yet."},
        };
        for (const auto& [operation, expected] : table)
            EXPECT_EQ(expected, refusal(operation));
        EXPECT_TRUE(node->needsSyncWithVCOSTree());
        EXPECT_EQ(Array::scalar(7.0),
                  root()->getChild("shell")->get("x")); // nothing of a mixed batch is stored
        EXPECT_EQ("editor",
                  dynamic_cast<const settings::spf::SettingsRemoteImpl&>(*SettingsAccess::node(*font))
                      .getParentFullName());
    });
}

TEST_F(RemoteNode, CallsCanBeRead) {
    withProvider({}, [](OtherProcess&, const Handle& editor) {
        LogLines log("settings::core::spf");
        editor->getChild("font")->get("family", "factory");
        ASSERT_EQ(2U, log.lines.size());
        EXPECT_EQ(R"({"arguments":[[],"font"],"name":"callGetChild","return":[6]})", log.lines[0]);
        EXPECT_NE(std::string::npos, log.lines[1].find(R"("name":"getSettingMDArray")")) << log.lines[1];
        EXPECT_NE(std::string::npos, log.lines[1].find(R"("arguments":[["font"],"family","factory"])"));
    });
}

std::mutex servedMutex;
std::string served; // by the other process, as its log says; guarded by servedMutex

std::string readAlong() {
    varnek::log::setLevel("settings::core::spf", varnek::log::Severity::debug);
    varnek::log::setSink([](std::string_view, varnek::log::Severity, std::string_view text) {
        const std::lock_guard lock(servedMutex);
        served = text;
    });
    return "";
}

std::string lastServed() {
    const std::lock_guard lock(servedMutex);
    return served;
}

TEST_F(RemoteNode, CallsThatFailCanBeReadOnBothSides) {
    withProvider({{"read along", readAlong}, {"last", lastServed}},
                 [](OtherProcess& provider, const Handle& editor) {
                     ASSERT_EQ("", provider.run("read along"));
                     LogLines log("settings::core::spf");
                     std::string text;
                     try {
                         editor->get("nothing", "user");
                         ADD_FAILURE();
                     } catch (const exception::NoSuchKey& failure) {
                         text = failure.what();
                     }
                     const std::string line =
                         R"({"arguments":[[],"nothing","user"],"name":"getSettingMDArray","return":null})"
                         " failed: " +
                         text;
                     EXPECT_EQ(std::vector<std::string>{line}, log.lines);
                     EXPECT_EQ("served " + line, provider.run("last"));
                     log.lines.clear();
                     const std::string tooLong(varnek::spf::limits::requestBytes, 'x');
                     EXPECT_EQ("RemoteCallFailed", failureOf([&] { editor->get(tooLong); }));
                     ASSERT_EQ(2U, log.lines.size());
                     EXPECT_NE(std::string::npos, log.lines[0].find(R"("return":null} failed: )"));
                 });
}

// Names need not be UTF-8; a log of the calls in either process changes nothing.
TEST_F(RemoteNode, ALogOfTheCallsDoesNotMakeThemFail) {
    const std::string name = "caf\xe9";
    const auto prepare = [name] {
        varnek::log::setLevel("settings::core::spf", varnek::log::Severity::debug);
        varnek::log::setSink([](std::string_view, varnek::log::Severity, std::string_view) {});
        root()->getChild("editor")->addGroup(name, true, false, "session");
        return std::string();
    };
    withProvider({{"prepare", prepare}}, [&](OtherProcess& provider, const Handle& editor) {
        ASSERT_EQ("", provider.run("prepare"));
        LogLines log("settings::core::spf");
        EXPECT_NE(nullptr, editor->getChild(name));
        EXPECT_EQ(9U, editor->getChildren().size());
        EXPECT_EQ("", failureOf([&] { editor->removeNode(name); }));
        EXPECT_EQ(nullptr, editor->getChild(name));
        EXPECT_EQ("NoSuchKey", failureOf([&] { editor->get(name); }));
        EXPECT_EQ(5U, log.lines.size());
        EXPECT_TRUE(log.lines[0].starts_with("callGetChild cannot be shown: ")) << log.lines[0];
    });
}

TEST_F(RemoteNode, ServesFourteenOperationsByTheirNames) {
    const auto prepare = [] {
        root()->getChild("editor")->addGroup("mine", true, false, "session");
        root()->getChild("editor")->set("size", 1.0, "session");
        return std::string();
    };
    withProvider({{"prepare", prepare}}, [](OtherProcess& provider, const Handle& editor) {
        ASSERT_EQ("", provider.run("prepare"));
        LogLines log("settings::core::spf");
        const auto node = SettingsAccess::mutableNode(*editor);
        editor->getChild("font");
        EXPECT_EQ(9U, node->getChildren().size());
        EXPECT_EQ(9U, std::as_const(*node).getChildren().size());
        dynamic_cast<const settings::spf::SettingsRemoteImpl&>(*node).getParentFullName();
        editor->get("size");
        editor->unset("size", "session");
        editor->removeNode("mine");
        node->setSyncWithVCOSTree(false);
        EXPECT_FALSE(node->needsSyncWithVCOSTree());
        node->loadUserSettingsOncePerPrefdir();
        EXPECT_FALSE(editor->isRoot() || editor->isReadOnly() || editor->isLeafNode());
        EXPECT_TRUE(editor->isVisible());
        std::string names;
        for (const std::string& line : log.lines)
            names += std::string(varnek::json::parseObject(line).find("name")->asString()) + " ";
        EXPECT_EQ(
            "callGetChild getChildrenNames getChildrenNamesConst getParentFullName getSettingMDArray unset "
            "removeNode setSyncWithVCOSTree needsSyncWithVCOSTree loadUserSettingsOncePerPrefdir isRoot "
            "isReadOnly isLeafNode isVisible ",
            names);
    });
}

// Nothing is kept of what is known to be gone.
TEST_F(RemoteNode, AGroupThatWasRemovedIsAnotherOneWhenItComesAgain) {
    const auto add = [] {
        return step([] { root()->getChild("editor")->addGroup("mine", true, false, "session"); });
    };
    const auto remove = [] { return step([] { root()->getChild("editor")->removeNode("mine"); }); };
    withProvider({{"add", add}, {"remove", remove}}, [](OtherProcess& provider, const Handle& editor) {
        const auto identity = [&] {
            EXPECT_EQ("", provider.run("add"));
            const auto now = [&] {
                return SettingsAccess::mutableNode(*editor->getChild("mine"))->identity();
            };
            const auto found = now();
            EXPECT_TRUE(found == now()); // nobody has held it in between
            return found;
        };
        const auto first = identity();
        editor->removeNode("mine");
        const auto second = identity();
        EXPECT_FALSE(first == second);
        EXPECT_EQ("", provider.run("remove"));
        EXPECT_EQ(nullptr, editor->getChild("mine"));
        EXPECT_FALSE(second == identity());
    });
}

// The failure names a node that does not exist here.
TEST_F(RemoteNode, ANodeThatOnlyTheOtherProcessHas) {
    OtherProcess provider(publisher("provider", {"editor"}, [] { root()->getChild("shell")->get("x"); }), {});
    ASSERT_EQ("", provider.started());
    std::filesystem::remove_all(base / "factory");
    inAnotherProcess([&] {
        start("client");
        EXPECT_EQ(nullptr, root()->getChild("shell"));
        const Handle editor = attached();
        try {
            editor->unset("elsewhere", "user");
            ADD_FAILURE();
        } catch (const exception::ValueNotDefinedForGivenLevel& failure) {
            ASSERT_NE(nullptr, failure.getObjectInvovled());
            EXPECT_EQ("editor", failure.getObjectInvovled()->getFullName());
        }
    });
}

// An alias of a group of this process leads to whoever has the group at the moment.
TEST_F(RemoteNode, AnAliasOfThisProcessLeadsThere) {
    const auto set = [] {
        root()->getChild("editor")->set("size", 30.0, "session");
        return std::string();
    };
    withProvider({{"set", set}}, [](OtherProcess& provider, const Handle&) {
        const Handle shell = root()->getChild("shell");
        ASSERT_EQ("", provider.run("set"));
        EXPECT_TRUE(isRemote(*shell->getChild("far")));
        EXPECT_EQ(Array::scalar(30.0), shell->get("far"));
        EXPECT_EQ(Array::scalar(12.0), shell->get("far", "factory"));
        EXPECT_TRUE(shell->isSet("far", "session"));
        const std::string refused =
            "MultipleSetShouldNotBeCalledRemotely: Loading user settings remotely (via "
            "remote node size) is not supported yet.";
        EXPECT_EQ(refused, refusal([&] { shell->set("far", Array::scalar(1.0), "session"); }));
        EXPECT_EQ(refused, refusal([&] { shell->set<double>("far", 1.0, "session"); }));
        shell->unset("far", "session");
        EXPECT_EQ(Array::scalar(12.0), shell->get("far"));
        provider.kill();
        waitUntil([] { return !isRemote(*root()->getChild("editor")); });
        shell->set("far", Array::scalar(5.0), "session");
        EXPECT_EQ(Array::scalar(5.0), root()->getChild("editor")->get("size"));
    });
}

// One call for the names of a group answers what its children are, once.
TEST_F(RemoteNode, BrowsingTakesOneCallForAGroup) {
    withProvider({{"hide",
                   [] {
                       root()->getChild("editor")->removeNode("new");
                       return std::string();
                   }},
                  {"add",
                   [] {
                       root()->getChild("editor")->addGroup("new", true, false, "session");
                       return std::string();
                   }}},
                 [](OtherProcess& provider, const Handle& editor) {
                     ASSERT_EQ("", provider.run("add"));
                     LogLines log("settings::core::spf");
                     const auto children = editor->getChildren();
                     int leaves = 0;
                     for (const Handle& child : children)
                         leaves += child->isLeafNode() && (child->isVisible() || !child->isReadOnly());
                     EXPECT_EQ(7, leaves);
                     EXPECT_EQ(1U, log.lines.size());
                     // asked again, it is asked there
                     const auto added =
                         std::find_if(children.begin(), children.end(),
                                      [](const Handle& child) { return child->getName() == "new"; });
                     ASSERT_NE(children.end(), added);
                     ASSERT_EQ("", provider.run("hide"));
                     EXPECT_EQ("ParentSettingsGroupNotFound: Settings group editor.new for a remote settings "
                               "call couldn't be found.",
                               refusal([&] { (*added)->isLeafNode(); }));
                 });
}

TEST_F(RemoteNode, WhatABrowseHasToldIsAskedForLater) {
    using Clock = std::chrono::steady_clock;
    withProvider({}, [](OtherProcess&, const Handle& editor) {
        LogLines log("settings::core::spf");
        const auto children = editor->getChildren();
        const auto end = Clock::now() + settings::spf::SettingsRemoteImpl::browseTime;
        ASSERT_EQ(1U, log.lines.size());
        waitUntil([&] { return Clock::now() > end; });
        children.front()->isLeafNode();
        EXPECT_EQ(2U, log.lines.size());
    });
}

// What was told of it is not true any more, nor of what was in it.
TEST_F(RemoteNode, ARemovedNodeIsNotThereAnyMore) {
    const auto prepare = [] {
        root()->getChild("editor")->addGroup("new", true, false, "session");
        root()->getChild("editor")->getChild("new")->addGroup("sub", true, false, "session");
        return std::string();
    };
    withProvider({{"prepare", prepare}}, [](OtherProcess& provider, const Handle& editor) {
        ASSERT_EQ("", provider.run("prepare"));
        const Handle added = editor->getChild("new");
        const Handle sub = added->getChild("sub");
        editor->removeNode("new");
        EXPECT_EQ("ParentSettingsGroupNotFound", failureOf([&] { added->isLeafNode(); }));
        EXPECT_EQ("ParentSettingsGroupNotFound", failureOf([&] { sub->isVisible(); }));
    });
}

// The change is told without the old value when that is too large to be announced.
TEST_F(RemoteNode, TellsOfALargeValueThatChanges) {
    const auto set = [](const Array& value) {
        return [value] {
            root()->getChild("editor")->set("none", value, "session");
            return std::string();
        };
    };
    const auto large = set(Array::make<double>({200000, 1}, std::vector<double>(200000, 1.0)));
    withProvider({{"large", large}, {"small", set(Array::scalar(1.0))}}, [](OtherProcess& provider,
                                                                            const Handle& editor) {
        ASSERT_EQ("", provider.run("large"));
        EXPECT_EQ(200000U, editor->get("none").numberOfElements());
        std::atomic<int> told{0}, withValue{0};
        const varnek::event::ScopedConnection listening = varnek::event::EventManager::instance().subscribe(
            editor->getChild("none")->getListenerValueChangeEventType(),
            [&](const varnek::event::EventHandle& event) {
                const auto& change = dynamic_cast<const SettingsValueChangeEvent&>(*event);
                withValue += !change.getOldValue().isVoid();
                ++told;
            });
        ASSERT_EQ("", provider.run("small"));
        waitUntil([&] { return told == 1; });
        EXPECT_EQ(0, withValue);
        EXPECT_EQ(Array::scalar(1.0), editor->get("none"));
    });
}

TEST_F(RemoteNode, TellsOfChangedValues) {
    const auto set = [](double value) {
        return [value] {
            root()->getChild("editor")->set("size", value, "session");
            root()->getChild("editor")->getChild("font")->set("family", std::u16string(u"serif"), "session");
            root()->getChild("shell")->set("x", value, "session"); // is not published
            return std::string();
        };
    };
    withProvider({{"13", set(13)}, {"14", set(14)}}, [](OtherProcess& provider, const Handle& editor) {
        std::mutex mutex;
        std::vector<std::string> lines;
        const auto take = [&](const varnek::event::EventHandle& event) {
            const auto* change = dynamic_cast<const SettingsValueChangeEvent*>(event.get());
            if (change == nullptr)
                return;
            const auto setting = change->getObj();
            const std::lock_guard lock(mutex);
            lines.push_back(setting->getFullName() + (isRemote(*setting) ? " remote " : " ") +
                            std::to_string(change->getOldValue().numberOfElements()) + " " +
                            std::to_string(change->getRootIndex().index()) + " " +
                            std::to_string(setting->getParent()->get(setting->getName()).numberOfElements()));
        };
        const auto count = [&] {
            const std::lock_guard lock(mutex);
            return lines.size();
        };
        auto& manager = varnek::event::EventManager::instance();
        {
            const varnek::event::ScopedConnection one =
                manager.subscribe(editor->getChild("size")->getListenerValueChangeEventType(), take);
            std::atomic<bool> isFamilyTold{false};
            const varnek::event::ScopedConnection other = manager.subscribe(
                editor->getSettingsByFullName("font.family")->getListenerValueChangeEventType(),
                [&](const varnek::event::EventHandle&) { isFamilyTold = true; });
            ASSERT_EQ("", provider.run("13"));
            waitUntil([&] { return count() == 1 && isFamilyTold; });
            other.disconnectAndWait();
        }
        const varnek::event::ScopedConnection all = manager.subscribe(u"settings::core::SettingsEvent", take);
        ASSERT_EQ("", provider.run("14"));
        waitUntil([&] { return count() == 2; });
        const std::lock_guard lock(mutex);
        EXPECT_EQ((std::vector<std::string>{"editor.size remote 1 0 1", "editor.size remote 1 0 1"}), lines);
    });
}

TEST_F(RemoteNode, FailsInWordsWhenTheOtherProcessIsGone) {
    withProvider({}, [](OtherProcess& provider, const Handle& editor) {
        const Handle font = editor->getChild("font");
        provider.kill();
        waitUntil([] { return !isRemote(*root()->getChild("editor")); });
        for (const auto& operation : std::vector<std::function<void()>>{
                 [&] { font->get("family"); }, [&] { editor->getChildren(); }, [&] { editor->getChild("x"); },
                 [&] { font->unset("family", "user"); }, [&] { font->removeNode("family"); },
                 [&] { font->isVisible(); }})
            try {
                operation();
                ADD_FAILURE();
            } catch (const RemoteCallFailed& failure) {
                EXPECT_EQ(RemoteCallFailed::Fault::disconnected, failure.getFault()) << failure.what();
                EXPECT_TRUE(failure.getNode().starts_with("editor"));
            }
        EXPECT_EQ("editor.font", font->getFullName());
        EXPECT_EQ(nullptr, editor->getParent());
    });
}

} // namespace
