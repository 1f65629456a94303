// Processes that answer what no sound one does, or tell more than is taken.

#include "remote/SharedPlace.hpp"

#include "settingscore/events/EventNotifyFunction.hpp"
#include "settingscore/events/SettingsValueChangeEvent.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/root/DeclaredGroup.hpp"
#include "settingscore/spf/RemoteGroup.hpp"
#include "settingscore/spf/RemoteMethods.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"
#include "varnek/event/EventManager.hpp"

#include <malloc.h>

#include <atomic>
#include <future>
#include <mutex>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;
namespace spf = settings::spf;
using exception::RemoteCallFailed;
using spf::Path;
using spf::Value;
using varnek::spf::ProviderFailure;

/// Answers as it is told to.
class Answers : public varnek::spf::ServiceProvider {
  public:
    using Function = std::function<Value(const std::string& method, const Value::List& arguments)>;

    explicit Answers(Function answer) : answer_(std::move(answer)) {}
    Value invoke(const std::string& method, const Value::List& arguments) override {
        ++calls;
        return answer_(method, arguments);
    }
    std::atomic<int> calls{0};

  private:
    const Function answer_;
};

/// What the other process has.
std::shared_ptr<Answers> answers;
std::unique_ptr<varnek::spf::Publication> publication;

void announce(const Path& path, const Array& before) {
    publication->announce(spf::valueChangeTopic, {spf::toValue(path), before});
}

const Path& longPath() {
    static const Path path(1000, "x");
    return path;
}

constexpr int manyNames = 1000;

struct HostileGroup : SharedPlace {
    void withProvider(Answers::Function answer,
                      const std::function<void(OtherProcess&, const Handle&)>& expectations) const {
        const auto publish = [this, answer = std::move(answer)] {
            start("provider");
            varnek::spf::ServiceDescription description;
            description.name = "editor";
            description.serviceProperties = {{spf::groupProperty, "editor"}};
            answers = std::make_shared<Answers>(answer);
            publication = varnek::spf::ServiceRuntime::instance().publish(
                serviceContext(),
                varnek::spf::SPFConfiguration::Builder()
                    .addServicePublisher("rpcservicepublisher", {"localServiceOnly"})
                    .build(),
                spf::publisherId, description, answers);
        };
        const OtherProcess::Steps told = {
            {"calls", [] { return std::to_string(answers->calls.exchange(0)); }},
            {"announce", [] { return step([] { announce({"size"}, Array::scalar(1.0)); }); }},
            {"announce long paths",
             [] {
                 return step([] {
                     announce(longPath(), Array::scalar(1.0));
                     announce({std::string(5000, 'x')}, Array::scalar(1.0));
                     announce({"size"}, Array::scalar(1.0));
                 });
             }},
            {"announce many names",
             [] {
                 return step([] {
                     for (int i = 0; i < manyNames; ++i) {
                         Path path(spf::mostSteps, std::string(50, 'x'));
                         path.front() = "job" + std::to_string(i);
                         announce(path, Array::scalar(1.0));
                     }
                 });
             }},
            {"announce a large value",
             [] { return step([] { announce({"size"}, Array::text(std::u16string(100'000, u'x'))); }); }},
        };
        OtherProcess provider(publish, told);
        inAnotherProcess([&] {
            start("client");
            ASSERT_EQ("", provider.started());
            expectations(provider, attached());
        });
    }
};

/// The object of a NoSuchNode, or what else is raised.
std::string objectOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const exception::NoSuchNode& failure) {
        return failure.getObjectInvovled()->getFullName();
    } catch (const RemoteCallFailed& failure) {
        return "fault " + std::to_string(int(failure.getFault())) + ": " + failure.getCause();
    }
    return "nothing";
}

TEST_F(HostileGroup, TakingAFailureAsksNobodyAndLoadsNothing) {
    const auto fail = [](const std::string&, const Value::List& arguments) -> Value {
        const std::string& name = arguments.at(1).asText();
        const bool isOther = name == "shell" || name == "nowhere";
        throw ProviderFailure("settings::core::exception::NoSuchNode", "failure",
                              {spf::foreignHandle({isOther ? name : "editor", isOther ? "far" : "x"}), ""});
    };
    withProvider(fail, [](OtherProcess& provider, const Handle& editor) {
        const auto object = [&](const char* name) { return objectOf([&] { editor->getChild(name); }); };
        EXPECT_EQ("editor.x", object("x"));
        EXPECT_EQ("1", provider.run("calls"));
        EXPECT_EQ("editor", object("shell"));
        const auto shell = detail::SettingsAccess::mutableNode(*root())->getChild("shell", false);
        EXPECT_FALSE(dynamic_cast<const detail::DeclaredGroup&>(*shell).isLoaded());
        root()->getChild("shell");
        EXPECT_EQ("shell.far", object("shell")); // an alias that leads to the other process
        EXPECT_EQ("editor", object("nowhere"));
        EXPECT_EQ("3", provider.run("calls"));
    });
}

TEST_F(HostileGroup, PathsThatAreTooLongAreRefused) {
    const auto answer = [](const std::string&, const Value::List& arguments) -> Value {
        const std::string& name = arguments.at(1).asText();
        if (name == "steps")
            return Value::List{2, spf::toValue(longPath())};
        if (name == "bytes")
            return Value::List{2, spf::toValue({std::string(3000, 'x'), std::string(3000, 'y')})};
        if (name == "most")
            return Value::List{2, spf::toValue(Path(spf::mostSteps, "x"))};
        throw ProviderFailure(
            "settings::core::exception::NoSuchNode", "failure",
            {name == "own" ? spf::toValue(longPath()) : spf::foreignHandle(longPath()), "name"});
    };
    withProvider(answer, [](OtherProcess& provider, const Handle& editor) {
        const auto object = [&](const char* name) { return objectOf([&] { editor->getChild(name); }); };
        for (const char* name : {"steps", "bytes"})
            EXPECT_EQ("fault 5: the path of a node is too long", object(name));
        EXPECT_EQ("nothing", object("most"));
        for (const char* name : {"own", "of another group"}) // as fields of an unknown kind
            EXPECT_EQ("fault 7: failure", object(name));
        std::mutex mutex;
        std::vector<std::size_t> heard;
        const varnek::event::ScopedConnection listening = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsValueChangeEvent", [&](const varnek::event::EventHandle& event) {
                const auto& change = dynamic_cast<const SettingsValueChangeEvent&>(*event);
                const std::lock_guard lock(mutex);
                heard.push_back(change.getObj()->getFullName().size());
            });
        ASSERT_EQ("", provider.run("announce long paths"));
        waitUntil([&] {
            const std::lock_guard lock(mutex);
            return !heard.empty() && heard.back() == std::string("editor.size").size();
        });
        const std::lock_guard lock(mutex);
        EXPECT_EQ(1U, heard.size());
    });
}

TEST_F(HostileGroup, GroupsThatNeverEndEnd) {
    const auto answer = [](const std::string& method, const Value::List&) -> Value {
        if (method == spf::method::getChildrenNames)
            return Value::List{"again", 2};
        return false;
    };
    withProvider(answer, [](OtherProcess&, const Handle& editor) {
        std::size_t deep = 0;
        const auto goDown = [&] {
            for (Handle group = editor; deep < 10 * spf::mostSteps; ++deep)
                group = group->getChildren().at(0);
        };
        EXPECT_EQ("fault 5: the path of a node is too long", objectOf(goDown));
        EXPECT_EQ(spf::mostSteps, deep);
    });
}

TEST_F(HostileGroup, EverNewNamesAreLetGo) {
    const auto nothing = [](const std::string&, const Value::List&) -> Value { return {}; };
    withProvider(nothing, [](OtherProcess& provider, const Handle& editor) {
        std::atomic<int> heard{0};
        const varnek::event::ScopedConnection listening = varnek::event::EventManager::instance().subscribe(
            u"settings::core::SettingsValueChangeEvent", [&](const auto&) { ++heard; });
        EXPECT_EQ(nullptr, editor->getChild("x")); // now the provider knows who listens
        std::atomic<int> known{0};
        const varnek::event::ScopedConnection one = varnek::event::EventManager::instance().subscribe(
            detail::SettingsAccess::wrap(
                dynamic_cast<spf::SettingsRemoteImpl&>(*detail::SettingsAccess::node(*editor))
                    .group()
                    .nodeAt({"size"}))
                ->getListenerValueChangeEventType(),
            [&](const auto&) { ++known; });
        const auto kept = [] {
            ::malloc_trim(0);
            return ::mallinfo2().uordblks;
        };
        const std::size_t before = kept();
        ASSERT_EQ("", provider.run("announce many names"));
        waitUntil([&] { return heard == manyNames; });
        EXPECT_GT(before + (4U << 20), kept()); // 64,000 nodes
        ASSERT_EQ("", provider.run("announce"));
        waitUntil([&] { return heard == manyNames + 1; });
        EXPECT_EQ(1, known); // of a node that nobody holds
    });
}

TEST_F(HostileGroup, CodesThatNobodyKnowsAreNotTaken) {
    const auto fail = [](const std::string&, const Value::List& arguments) -> Value {
        const std::string type = "settings::core::exception::" + arguments.at(1).asText();
        const Value text = Array::text(u"detail");
        if (type.ends_with("RemoteCallFailed"))
            throw ProviderFailure(type, "failure", {8, "node", "operation", "cause"});
        if (type.ends_with("ErrorReadingSettingsData"))
            throw ProviderFailure(type, "failure", {-16, text});
        throw ProviderFailure(type, "failure", {Value(), text, std::int64_t{1} << 32, text});
    };
    withProvider(fail, [](OtherProcess&, const Handle& editor) {
        for (const char* type :
             {"RemoteCallFailed", "ErrorReadingSettingsData", "ErrorWriteToTempSettingsFile"})
            EXPECT_EQ("fault 7: failure", objectOf([&] { editor->getChild(type); })) << type;
    });
}

/// A listener of this process that is at work on a thread of its own, until it is let go.
class BusyListener {
  public:
    explicit BusyListener(std::function<void()> work = [] {}) : work_(std::move(work)) {
        const Handle shell = SharedPlace::root()->getChild("shell");
        listening_ = varnek::event::EventManager::instance().subscribe(
            shell->getChild("x")->getListenerValueChangeEventType(), [this](const auto&) {
                begun_.set_value();
                end_.get_future().wait();
                work_();
            });
        thread_ = std::thread([shell] { shell->set("x", 8.0, "session"); });
        begun_.get_future().wait();
    }
    BusyListener(const BusyListener&) = delete;
    BusyListener& operator=(const BusyListener&) = delete;
    ~BusyListener() {
        letGo();
        thread_.join();
    }
    void letGo() {
        if (!std::exchange(isLetGo_, true))
            end_.set_value();
    }

  private:
    const std::function<void()> work_;
    std::promise<void> begun_, end_;
    bool isLetGo_ = false;
    varnek::event::ScopedConnection listening_;
    std::thread thread_;
};

Value one(const std::string&, const Value::List&) {
    return Array::scalar(1.0);
}

// What is announced counts until it has been told.
TEST_F(HostileGroup, ListenersThatStayBehindLoseTheGroup) {
    withProvider(one, [](OtherProcess& provider, const Handle& editor) {
        BusyListener busy;
        for (int i = 0; i < 200; ++i) // one by one: what can be taken is
            ASSERT_EQ("", provider.run("announce a large value"));
        waitUntil([&] { return failureOf([&] { editor->get("size"); }) == "RemoteCallFailed"; });
        bool isBack = false; // perhaps not for long
        waitUntil([&] {
            const Handle anew = root()->getChild("editor");
            return isBack = isBack || (isRemote(*anew) && failureOf([&] { anew->get("size"); }).empty());
        });
    });
}

// The thread that hands on ends the group whose announcement waits for it.
TEST_F(HostileGroup, AListenerMayUseAndEndTheGroupMeanwhile) {
    withProvider(one, [](OtherProcess& provider, const Handle& editor) {
        ASSERT_EQ(Array::scalar(1.0), editor->get("size")); // now the provider knows who listens
        std::atomic<int> hooks{0};
        Array asked;
        {
            BusyListener busy([&] {
                asked = editor->get("size");
                publishTopLevelGroups({"editor"});
            });
            detail::setEventNotifyFunction([&](const auto&) { ++hooks; });
            ASSERT_EQ("", provider.run("announce"));
            waitUntil([&] { return hooks > 0; }); // it waits for the listeners next
        }
        detail::setEventNotifyFunction({});
        EXPECT_EQ(Array::scalar(1.0), asked);
        EXPECT_FALSE(isRemoteNow());
    });
}

} // namespace
