// Every failure that a process raises while it serves another one arrives there as its own type.

#include "remote/SharedPlace.hpp"

#include "settingscore/plugin/ServiceFramework.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/settingsImpl.hpp"
#include "settingscore/spf/FailureCoding.hpp"
#include "settingscore/spf/SpfSettingsServiceProvider.hpp"
#include "settingscore/spf/TopLevelNodeClientTracker.hpp"
#include "spf/ServiceRuntime.hpp"
#include "support/FailureCatalogue.hpp"

#include <boost/make_shared.hpp>
#include <boost/type_index.hpp>

#include <functional>
#include <memory>
#include <set>

namespace {

using namespace settings::test;
namespace core = settings::core;
namespace spf = settings::spf;

using Failures = std::vector<std::unique_ptr<varnek::exception::Exception>>;
namespace vs = VARNEK::settings;

/// Those of the message catalogue, and the one of code outside the library.
void addOthers(Failures& failures) {
    const auto add = [&](const auto& failure) { failures.push_back(failure.clone()); };
    add(vs::core::CFunctionNotFound("<1>", "<2>"));
    add(vs::core::SettingsLibraryNotInitialized("<1>"));
    add(vs::core::JVMNotReadyForProcessingJavaFunction());
    add(vs::core::VARNEKFuncMustBeInvokedByExecEngine());
    add(vs::core::ExecEngineNotReadyForProcessingMFunction());
    add(vs::core::UnconvertibleType("<1>", "<2>"));
    add(vs::core::DataTypeNotMatch("<1>", "<2>"));
    add(vs::core::CanNotCreateTempDirectory("<1>"));
    add(vs::core::NoWritePermissionOnDirectory("<1>", "<2>"));
    add(vs::core::ErrorOverwriteFileInPrefDir("<1>"));
    add(vs::core::ErrorCreatePreferenceDirectoryTimeStamp("<1>", "<2>"));
    add(vs::core::PreferenceDirectoryNotExist("<1>", "<2>"));
    add(vs::core::ErrorCopyFileInPrefDir("<1>", "<2>", "<3>"));
    add(vs::core::SettingsUserDirectoryNotExist());
    add(vs::prefdir::CreateTempPrefdirErrorSuffix("<1>"));
    add(vs::prefdir::FileNameTooLarge("<1>"));
    add(vs::prefdir::InvalidArgument("<1>"));
    add(vs::prefdir::FileNameConversionFailure("<1>"));
    add(vs::prefdir::PathNotFound("<1>"));
    add(vs::prefdir::BadAlloc("<1>"));
    add(vs::prefdir::DefaultError("<1>"));
    add(vs::prefdir::SystemError("<1>", "<2>"));
    add(vs::config::ErrorAddingProductSettingsGroup("<1>", "<2>"));
    add(vs::config::FactoryTreeChangesAreEmpty("<1>"));
    add(vs::config::FactoryTreeDoesNotExist("<1>"));
    add(vs::config::GroupOrSettingNameAlreadyExists("<1>"));
    add(vs::config::InvalidPersonalSettingsVersion("<1>", "<2>"));
    add(vs::config::PathNotRelativeToMasterFile("<1>"));
    add(core::SettingsException("VARNEK:Settings:own", "The message", "key"));
}

/// A group that raises the failure whose number it is asked for as a value.
class RaisingGroup : public core::detail::SettingsImpl {
  public:
    static boost::shared_ptr<RaisingGroup> make() {
        core::detail::NodeSpec spec;
        spec.name = "editor";
        boost::shared_ptr<RaisingGroup> group(new RaisingGroup(std::move(spec)));
        finish(group);
        return group;
    }
    Array get(std::string_view name, std::string_view) const override {
        if (name == "other")
            throw std::out_of_range("a failure of no catalogue");
        failures.at(std::stoul(std::string(name)))->rethrow();
        return {};
    }
    Failures failures;

  private:
    explicit RaisingGroup(core::detail::NodeSpec spec) : SettingsImpl(std::move(spec), true) {}
};

struct FailureCrossing : SharedPlace {
    /// Publishes a raising group in the place of a group of the tree.
    std::function<void()> raisingPublisher() const {
        return [this] {
            start("provider");
            static const auto group = RaisingGroup::make();
            root()->getChild("editor"); // its tree is there
            const auto child = boost::make_shared<core::detail::NodeSpec>();
            child->name = "child";
            group->adoptChildren({core::detail::SettingsImpl::makeSetting(std::move(*child))});
            A = C = group->getThisObject();
            B = group->getChild("child", true)->getThisObject();
            const auto collect = [](const auto& failure, const auto&...) {
                group->failures.push_back(failure.clone());
            };
            FailureCatalogue catalogue(collect);
            catalogue.walk();
            catalogue.walkOwn();
            addOthers(group->failures);
            varnek::spf::ServiceDescription description;
            description.name = "editor";
            description.serviceProperties = {{spf::groupProperty, "editor"}};
            static const auto publication = varnek::spf::ServiceRuntime::instance().publish(
                core::serviceContext(),
                varnek::spf::SPFConfiguration::Builder()
                    .addServicePublisher("rpcservicepublisher", {"localServiceOnly"})
                    .build(),
                spf::publisherId, description,
                std::make_shared<spf::SpfSettingsServiceProvider>("editor", [] { return group; }));
        };
    }
};

bool areSame(const ObjectHandle& a, const ObjectHandle& b) {
    return a != nullptr && b != nullptr && core::Settings::equal(a, b);
}

TEST_F(FailureCrossing, TheWholeCatalogueKeepsTypesTextsAndFields) {
    OtherProcess provider(raisingPublisher(), {});
    inAnotherProcess([&] {
        start("client");
        ASSERT_EQ("", provider.started());
        const Handle editor = attached();
        A = C = editor;
        B = editor->getChild("child");
        ASSERT_TRUE(B);
        isSameObject = areSame;
        std::size_t number = 0;
        std::set<std::string> arrived;
        const auto raised = [&] { editor->get(std::to_string(number++)); };
        const auto expect = [&](const auto& failure, const std::string& text, const std::string& values,
                                const auto& fields) {
            using Failure = std::decay_t<decltype(failure)>;
            SCOPED_TRACE(boost::typeindex::type_id<Failure>().pretty_name());
            try {
                raised();
                ADD_FAILURE() << "nothing";
            } catch (const std::exception& caught) {
                ASSERT_EQ(typeid(Failure), typeid(caught)) << caught.what();
                EXPECT_EQ(text, caught.what());
                EXPECT_EQ(values, fields(dynamic_cast<const Failure&>(caught)));
                arrived.insert(boost::typeindex::type_id<Failure>().pretty_name());
            }
        };
        FailureCatalogue catalogue(expect);
        catalogue.walk();
        catalogue.walkOwn();
        Failures others;
        addOthers(others);
        for (const auto& expected : others)
            try {
                raised();
                ADD_FAILURE() << "nothing";
            } catch (const varnek::exception::Exception& caught) {
                const std::exception& wanted = *expected;
                ASSERT_EQ(typeid(wanted), typeid(caught)) << caught.what();
                EXPECT_STREQ(expected->what(), caught.what());
                if (const auto* message =
                        dynamic_cast<const varnek::catalogue::CatalogueException*>(&caught)) {
                    EXPECT_EQ(
                        dynamic_cast<const varnek::catalogue::CatalogueException&>(*expected).arguments(),
                        message->arguments());
                }
                if (const auto* own = dynamic_cast<const core::SettingsException*>(&caught)) {
                    EXPECT_EQ("VARNEK:Settings:own key", own->msgId() + " " + own->exceptionKey());
                }
                arrived.insert(boost::typeindex::type_id_runtime(caught).pretty_name());
            }
        const auto known = spf::failureTypes();
        EXPECT_EQ(std::set<std::string>(known.begin(), known.end()), arrived);
        try {
            editor->get("other");
            ADD_FAILURE() << "nothing";
        } catch (const RemoteCallFailed& failure) {
            EXPECT_EQ(RemoteCallFailed::Fault::provider, failure.getFault());
            EXPECT_EQ("editor getSettingMDArray a failure of no catalogue",
                      failure.getNode() + " " + failure.getOperation() + " " + failure.getCause());
        }
    });
}

// A group of one process has an alias that leads into a group of another one, for a third.
TEST_F(FailureCrossing, AFailureComesThroughTwoProcesses) {
    OtherProcess far(publisher("far"), steps());
    ASSERT_EQ("", far.started());
    OtherProcess between(publisher("between", {"shell"}, [this] { attached(); }), {});
    ASSERT_EQ("", between.started());
    inAnotherProcess([&] {
        start("client");
        const Handle shell = attached("shell");
        attached(); // what the failures name
        EXPECT_EQ(Array::scalar(12.0), shell->get("far"));
        ASSERT_EQ("", far.run("size 50"));
        EXPECT_EQ(Array::scalar(50.0), shell->get("far"));
        const auto failing = [](const Handle& group, const char* name) -> std::string {
            try {
                group->unset(name, "user");
            } catch (const core::exception::ValueNotDefinedForGivenLevel& failure) {
                return failure.getLevel() + " " + failure.getObjectInvovled()->getFullName();
            }
            return "nothing";
        };
        EXPECT_EQ("user editor.size", failing(shell, "far"));
        EXPECT_EQ("user editor.size", failing(attached(), "size")); // one process less
        far.kill();
        waitUntil([&] {
            try {
                return shell->get("far") == Array::scalar(12.0); // of the process between
            } catch (const core::exception::RemoteCallFailed&) { // it has not heard of the end
                return false;
            }
        });
    });
}

} // namespace
