// What becomes of callers while a process does not answer.

#include "remote/SharedPlace.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/spf/RemoteGroup.hpp"
#include "settingscore/spf/SettingsRemoteImpl.hpp"
#include "spf/Limits.hpp"
#include "spf/ServiceRuntime.hpp"

#include <utility>

namespace {

using namespace settings::core;
using namespace settings::test;
using settings::core::detail::SettingsAccess;
using settings::core::exception::RemoteCallFailed;

struct RemoteTimes : SharedPlace {
    /// The process that publishes "editor", and a client of it.
    void withProvider(const std::function<void(OtherProcess&, const Handle&)>& expectations) const {
        OtherProcess provider(publisher("provider"), {});
        inAnotherProcess([&] {
            start("client");
            ASSERT_EQ("", provider.started());
            expectations(provider, attached());
        });
    }
};

/// A service whose calls have less time than is asked for.
class Hurried final : public varnek::spf::Invokable {
  public:
    Hurried(std::shared_ptr<varnek::spf::Invokable> service, std::chrono::milliseconds limit)
        : service_(std::move(service)), limit_(limit) {}

    std::future<varnek::spf::Value> invoke(const std::string& method, varnek::spf::Value::List arguments,
                                           std::chrono::milliseconds limit) override {
        EXPECT_EQ(varnek::spf::limits::call, limit);
        return service_->invoke(method, std::move(arguments), limit_);
    }
    bool isAlive() const noexcept override { return service_->isAlive(); }
    varnek::spf::Subscription listen(const std::string&, Listener) override { return {}; }

  private:
    const std::shared_ptr<varnek::spf::Invokable> service_;
    const std::chrono::milliseconds limit_;
};

std::shared_ptr<varnek::spf::Invokable> publishedService() {
    auto context = serviceContext();
    const auto reference = context.GetServiceReference<varnek::spf::RemoteService>();
    return context.GetService(reference)->invokable();
}

TEST_F(RemoteTimes, CallsOfAStoppedProcessEndWithTheirTime) {
    withProvider([](OtherProcess& provider, const Handle&) {
        constexpr std::chrono::milliseconds limit(100);
        const auto hurried = std::make_shared<Hurried>(publishedService(), limit);
        const auto group = settings::spf::RemoteGroup::make("editor", hurried,
                                                            SettingsAccess::mutableNode(*root())->unwrap());
        const auto node = group->makeTopLevelNode();
        provider.stop();
        const auto begin = std::chrono::steady_clock::now();
        for (const auto& [call, name] : std::vector<std::pair<std::function<void()>, std::string>>{
                 {[&] { node->get("size", ""); }, "getSettingMDArray"},
                 {[&] { node->getChildren(); }, "getChildrenNames"},
                 {[&] { node->unset("size", "user"); }, "unset"}})
            try {
                call();
                ADD_FAILURE() << name;
            } catch (const RemoteCallFailed& failure) {
                EXPECT_EQ(RemoteCallFailed::Fault::timedOut, failure.getFault());
                EXPECT_EQ("editor", failure.getNode());
                EXPECT_EQ(name, failure.getOperation());
            }
        EXPECT_LE(3 * limit, std::chrono::steady_clock::now() - begin);
        EXPECT_GT(varnek::spf::limits::call, std::chrono::steady_clock::now() - begin);
        provider.goOn();
        waitUntil([&] {
            try {
                return Array::scalar(12.0) == node->get("size", "");
            } catch (const RemoteCallFailed&) { // it is slow
                return false;
            }
        });
    });
}

TEST_F(RemoteTimes, AStoppedProcessDoesNotHoldItsCallersForEver) {
    if (std::getenv("VKSETTINGS_SOAK") == nullptr)
        GTEST_SKIP() << "takes as long as a call may take; part of the soak";
    withProvider([](OtherProcess& provider, const Handle& editor) {
        provider.stop();
        try {
            editor->get("size");
            ADD_FAILURE();
        } catch (const RemoteCallFailed& failure) {
            EXPECT_EQ(RemoteCallFailed::Fault::timedOut, failure.getFault());
        }
        provider.goOn();
        EXPECT_EQ(Array::scalar(12.0), editor->get("size"));
    });
}

} // namespace
