// Functions of real plug-in libraries, through the shared library and its public headers alone.

#include "support/LogLines.hpp"
#include "support/TempFolder.hpp"
#include "support/ValidationHandles.hpp"

#include "settingscore/MSettings.hpp"
#include "settingscore/exception/Exceptions.hpp"
#include "settingscore/plugin/InstallationRoot.hpp"
#include "settingscore/validation/FunctionValidators.hpp"
#include "settingscore/validation/RunTimeDefaults.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <latch>
#include <stdexcept>
#include <thread>

namespace {

using namespace settings::core;
using settings::test::LogLines;
using varnek::data::Array;
using Lines = std::vector<std::string>;
using Value = std::pair<Array, bool>;
namespace fs = std::filesystem;

constexpr const char* channel = "settings::core::settingValueValidators";

/// An installation with the plug-ins below it.
struct Plugins : testing::Test, settings::test::ValidationHandles {
    Plugins() {
        fs::create_directories(folder);
        install(EXAMPLE_PLUGIN, "example_checks");
        install(FAULTY_PLUGIN, "faulty");
        install(FOREIGN_LIBRARY, "foreign");
        install(FUTURE_PLUGIN, "future");
        before = setInstallationRoot([this] { return root.path(); });
    }
    ~Plugins() override { setInstallationRoot(before); }

    void install(const fs::path& library, const std::string& name, fs::perms mode = fs::perms(0755)) {
        const fs::path file = folder / ("lib" + name + ".so");
        fs::copy_file(library, file, fs::copy_options::overwrite_existing);
        fs::permissions(file, mode);
    }
    void invoke(const CValidator& validator) { validator.invokeValidationFunction(setting, parent, value); }

    /// Why the library cannot be used; empty when it can.
    static std::string fault(const std::function<void()>& use, const std::string& library) {
        try {
            use();
        } catch (const exception::ErrorLoadingLibrary& failure) {
            EXPECT_EQ(failure.getLibName(), library);
            const std::u16string text = failure.getSystemMessage();
            return {text.begin(), text.end()};
        }
        return {};
    }

    settings::test::TempFolder root;
    fs::path folder = root / "bin/linux64/settings_plugins";
    InstallationRootFunction before;
    Value value{Array::scalar(4.0), false};
};

TEST_F(Plugins, TheExampleChecksAndComputes) {
    const LogLines log(channel);
    const CValidator even("example_checks", "mustBeEven");
    EXPECT_EQ(log.lines, Lines{"utGetModule: example_checks"});
    const CValidator copy = even;
    invoke(copy);
    EXPECT_EQ(value, Value(Array::scalar(4.0), false));
    EXPECT_EQ(log.lines.size(), 1U); // copies share one load
    value.first = Array::scalar(5.0);
    try {
        invoke(copy);
        FAIL();
    } catch (const SettingsException& refusal) {
        EXPECT_EQ(refusal.msgId(), "ExampleChecks:mustBeEven:odd");
        EXPECT_STREQ(refusal.what(), "The value must be even.");
        EXPECT_EQ(refusal.exceptionKey(), "odd");
    }
    EXPECT_EQ(log.lines.back(), "Validation function throw. Reason: The value must be even. "
                                "libname=example_checks function=mustBeEven");

    const CRunTimeDefault workers("example_checks", "defaultWorkerCount");
    EXPECT_GE(boost::any_cast<double>(workers()), 1.0);
    EXPECT_EQ(workers.getFcn()(), workers.evaluate());
    EXPECT_TRUE(workers == CRunTimeDefault::fromDefinition("example_checks", "defaultWorkerCount"));
}

TEST_F(Plugins, WhatAFunctionThrowsReachesTheCaller) {
    const LogLines log(channel);
    EXPECT_THROW(invoke(CValidator("faulty", "throwStandard")), std::runtime_error);
    EXPECT_EQ(log.lines.back(),
              "Validation function throw. Reason: out of order libname=faulty function=throwStandard");
    EXPECT_EQ(value, Value(Array::scalar(4.0), false));
    EXPECT_THROW(invoke(CValidator("faulty", "throwNumber")), int);
    EXPECT_EQ(log.lines.back(),
              "Validation function throw. Reason: Unknown Exception libname=faulty function=throwNumber");
    EXPECT_THROW(CRunTimeDefault("faulty", "noDefault")(), std::runtime_error);
}

TEST_F(Plugins, AFunctionMayEndItsThread) {
    const LogLines log(channel);
    const CValidator ending("faulty", "endThread");
    bool wentOn = false;
    std::thread thread([&] {
        invoke(ending);
        wentOn = true;
    });
    thread.join();
    EXPECT_FALSE(wentOn);
    EXPECT_EQ(log.lines, Lines{"utGetModule: faulty"}); // that is no failure
    invoke(CValidator("faulty", "doubled"));            // nothing is left locked
}

TEST_F(Plugins, AFunctionIsToldOfSettingAndGroupAndMayReplaceTheValue) {
    value.second = true;
    invoke(CValidator("faulty", "doubled"));
    EXPECT_EQ(value, Value(Array::scalar(8.0), true));
    EXPECT_THROW(CValidator("faulty", "doubled").invokeValidationFunction(setting, setting, value),
                 std::invalid_argument);
}

TEST_F(Plugins, OnlyPlainNamesInTheFolderAreLoaded) {
    fs::create_directories(folder / "below");
    fs::rename(folder / "libfaulty.so", folder / "below/libfaulty.so");
    fs::create_symlink(folder / "below/libfaulty.so", folder / "liblinked.so");
    fs::create_symlink("libexample_checks.so", folder / "libalias.so");
    install(EXAMPLE_PLUGIN, "open", fs::perms(0775));
    settings::test::writeBytes(folder / "libtext.so", "no library");
    const std::pair<std::string, std::string> table[] = {
        {"missing", "No such file"},
        {"", "not the plain name"},
        {"below/../example_checks", "not the plain name"},
        {(folder / "libexample_checks.so").string(), "not the plain name"},
        {"..", "not the plain name"},
        {"linked", "leads out of its folder"},
        {"text", "libtext.so"},
        {"open", "others than its owner can write"},
        {"foreign", "is no plug-in for settings"},
        {"future", "is made for version 4711 of the plug-in interface, not 1"},
    };
    for (const auto& [library, words] : table) {
        const std::string name = library;
        const auto construct = [&] { CValidator(name, "mustBeEven"); };
        EXPECT_NE(fault(construct, name).find(words), std::string::npos)
            << name << ": " << fault(construct, name);
        EXPECT_NE(fault([&] { CRunTimeDefault(name, "f"); }, name), "");
    }
    EXPECT_NO_THROW(invoke(CValidator("alias", "mustBeEven"))); // a link that stays inside
    setInstallationRoot([] { return fs::path(); });
    EXPECT_EQ(fault([] { CValidator("example_checks", "mustBeEven"); }, "example_checks"),
              "the installation folder is not known");
}

TEST_F(Plugins, AMissingFunctionIsNamed) {
    const auto construct = [](const auto& make) {
        try {
            make();
            ADD_FAILURE();
        } catch (const VARNEK::settings::core::CFunctionNotFound& failure) {
            EXPECT_EQ(failure.arguments(), (Lines{"example_checks", "mustBeOdd"}));
        }
    };
    construct([] { CValidator("example_checks", "mustBeOdd"); });
    construct([] { CRunTimeDefault("example_checks", "mustBeOdd"); });
    construct([&] { invoke(CValidator::fromDefinition("example_checks", "mustBeOdd")); });
}

TEST_F(Plugins, ADefinitionLoadsNothingUntilItIsUsed) {
    const LogLines log(channel);
    const CValidator missing = CValidator::fromDefinition("missing", "f");
    const CValidator present = CValidator::fromDefinition("example_checks", "mustBeEven");
    const CRunTimeDefault workers = CRunTimeDefault::fromDefinition("example_checks", "defaultWorkerCount");
    const CRunTimeDefault noWorkers = CRunTimeDefault::fromDefinition("missing", "f");
    EXPECT_EQ(log.lines, Lines());
    EXPECT_TRUE(present == CValidator("example_checks", "mustBeEven"));

    const std::string first = fault([&] { invoke(missing); }, "missing");
    EXPECT_NE(first, "");
    install(EXAMPLE_PLUGIN, "missing"); // too late for this definition
    EXPECT_EQ(fault([copy = missing] { copy.load(); }, "missing"), first);
    invoke(present);
    EXPECT_GE(workers.evaluate().element<double>(), 1.0);
    EXPECT_THROW(noWorkers.evaluate(), VARNEK::settings::core::CFunctionNotFound); // the library is there now
}

TEST_F(Plugins, OneThatIsNotGivenIsTakenFromTheLibrary) {
    const CRunTimeDefault workers("example_checks", "defaultWorkerCount", {});
    EXPECT_GE(boost::any_cast<double>(workers()), 1.0);
    EXPECT_NE(fault([] { CRunTimeDefault("missing", "f", {})(); }, "missing"), "");
    EXPECT_THROW(CRunTimeDefault("example_checks", "mustBeOdd", {})(),
                 VARNEK::settings::core::CFunctionNotFound);
}

TEST_F(Plugins, CallsTakeTurns) {
    const CValidator alone("faulty", "alone");
    std::atomic<int> refused = 0;
    std::latch start(2);
    const auto many = [&] {
        Value own = value;
        start.arrive_and_wait();
        for (int i = 0; i < 3000; ++i)
            try {
                alone.invokeValidationFunction(setting, parent, own);
            } catch (const std::logic_error&) {
                ++refused;
            }
    };
    std::thread other(many);
    many();
    other.join();
    EXPECT_EQ(refused, 0);
}

/// A tree of the process, whose settings are checked and computed by plug-ins.
TEST_F(Plugins, InATree) {
    const RootIndex index(4711, true, false);
    ASSERT_TRUE(MSettings::createEmptySettingsFor(index));
    const auto group =
        MSettings::of(MSettings::getMSettingsRoot(index)->addGroup("tool", true, false, "session"));
    const auto define = [&](const std::string& name, ValidatorVariant validator,
                            RunTimeDefaultVariant runTimeDefault = {}) {
        return group->createFactorySetting(
            name, false,
            {true, false, {}, std::move(validator), std::move(runTimeDefault), false, false, {}});
    };
    define("names", CValidator("faulty", "namesOfSettingAndGroup"));
    group->set("names", 1.0, "session");
    EXPECT_EQ(group->get("names"), Array::text(u"tool.names in tool"));
    define("even", CValidator("example_checks", "mustBeEven"),
           CRunTimeDefault::fromDefinition("example_checks", "defaultWorkerCount"));
    EXPECT_THROW(group->set("even", 5.0, "session"), SettingsException);
    EXPECT_FALSE(group->isSet("even", "session"));
    group->set("even", 6.0, "session");
    EXPECT_EQ(group->get<double>("even"), 6.0);
    define("workers", {}, CRunTimeDefault::fromDefinition("example_checks", "defaultWorkerCount"));
    EXPECT_EQ(group->get<double>("workers"),
              CRunTimeDefault("example_checks", "defaultWorkerCount").evaluate().element<double>());
    define("checkedDefault", CValidator("faulty", "namesOfSettingAndGroup"),
           CRunTimeDefault("example_checks", "defaultWorkerCount"));
    EXPECT_EQ(group->get("checkedDefault"), Array::text(u"tool.checkedDefault in tool"));
    define("refusedDefault", CValidator("faulty", "throwStandard"),
           CRunTimeDefault("example_checks", "defaultWorkerCount"));
    EXPECT_TRUE(group->get("refusedDefault").isVoid());
}

TEST_F(Plugins, TheFirstUseMayComeFromManyThreads) {
    const CValidator even = CValidator::fromDefinition("example_checks", "mustBeEven");
    std::vector<std::thread> threads;
    std::atomic<int> accepted = 0;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, copy = even] {
            Value own = value;
            for (int j = 0; j < 50; ++j) {
                copy.invokeValidationFunction(setting, parent, own);
                ++accepted;
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(accepted, 200);
}

TEST_F(Plugins, WithoutAHostTheInstallationIsWhereTheLibraryIs) {
    setInstallationRoot({});
    EXPECT_EQ(installationRoot(), fs::path(SETTINGS_LIBRARY).parent_path().parent_path() / "");
}

} // namespace
