// Values checked without being stored.

#include "settingscore/ValueCheck.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/settings/node/SettingsAccess.hpp"
#include "settingscore/settings/node/SettingsNodeImpl.hpp"
#include "settingscore/settings/root/TreeBuilder.hpp"
#include "support/FileTree.hpp"

#include <boost/thread/exceptions.hpp>
#include <gtest/gtest.h>

#include <pthread.h>

#include <optional>
#include <thread>

namespace {

using namespace settings::core;
using namespace settings::test;

struct ValueCheck : testing::Test {
    ValueCheck() {
        varnek::settings::FactoryFileGenerator::fromText(R"({
            "groupName": "checked",
            "settings": [
                {"name": "size", "value": 12, "settingValueValidator": [
                    {"MustBeInteger": true, "isVector": false, "MinValue": 6, "MaxValue": 72},
                    {"MustBeString": true, "ValidStringValues": ["auto"]}]},
                {"name": "old", "attributes": {"aliasName": "checked.size"}},
                {"name": "free"},
                {"name": "fixed", "value": "x", "readonly": true, "settingValueValidator": {"MustBeString": true}}
            ],
            "groups": [{"groupName": "sub", "settings": [
                {"name": "lost", "value": 1, "language": "C", "packageName": "none", "validationFcn": "check"}]}]
            })",
                                                         "checked.json")
            .write(folder / "checked.vksettings");
        installFactoryFile(folder / "checked.vksettings", folder.path(), false);
        built = detail::buildTree(DefaultRootIndex(), folder.path());
        group = built->root->getThisObject()->getChild("checked");
    }
    std::string refusal(const std::string& name, const Array& value) const {
        for (const Handle& child : group->getChildren()) // an alias itself, not what it leads to
            if (child->getName() == name)
                return failureOf([&] { checkValue(*child, value); });
        return "no such setting";
    }

    TempFolder folder;
    boost::shared_ptr<detail::SettingsRootStateMgr> built;
    Handle group;
};

TEST_F(ValueCheck, TheRulesOfASetWithoutTheSet) {
    EXPECT_EQ("", refusal("size", Array::scalar(72.0)));
    EXPECT_EQ("", refusal("size", Array::text(u"auto")));
    EXPECT_EQ("ValueMustBeString", refusal("size", Array::scalar(73.0)));
    EXPECT_EQ("ValueMustBeString", refusal("old", Array::scalar(73.0)));
    EXPECT_EQ("ValueIsNotOneOfTheChoicesAndNotInRange", refusal("size", Array::text(u"none")));
    EXPECT_EQ("DefaultValidationFailedOnVoidType", refusal("free", Array()));
    EXPECT_EQ("", refusal("fixed", Array::text(u"y"))) << "the value is all right";
    EXPECT_EQ("ValueMustBeString", refusal("fixed", Array::scalar(1.0)));
    EXPECT_EQ("NotAKeyName", refusal("sub", Array::scalar(1.0)));
    EXPECT_EQ(12.0, group->get<double>("size"));
    EXPECT_FALSE(group->isSet("size", "user"));
    EXPECT_FALSE(group->isSet("size", "session"));
}

TEST_F(ValueCheck, EveryStoredValueOfEveryLevel) {
    const auto found = [](const Handle& node) {
        std::vector<std::string> lines;
        const std::size_t count = checkStoredValues(*node, [&](const RefusedLevelValue& refused) {
            lines.push_back(refused.setting->getName() + "@" + std::string(refused.level) + " " +
                            failureOf([&] { std::rethrow_exception(refused.failure); }));
        });
        lines.push_back(std::to_string(count));
        return lines;
    };
    using Lines = std::vector<std::string>;
    EXPECT_EQ((Lines{"lost@factory ErrorLoadingLibrary", "3"}), found(group));
    load(group->getChild("size"), LevelIndex::user, Array::scalar(5.0));
    load(group->getChild("size"), LevelIndex::session, Array::scalar(7.0));
    load(group->getChild("size"), LevelIndex::installation, Array::text(u"none"));
    load(group->getChild("free"), LevelIndex::user, Array::scalar(5.0));
    const Lines all{"size@user ValueMustBeString", "size@installation ValueIsNotOneOfTheChoicesAndNotInRange",
                    "lost@factory ErrorLoadingLibrary", "7"};
    EXPECT_EQ(all, found(group));
    EXPECT_EQ(all, found(built->root->getThisObject()));
    EXPECT_EQ((Lines{all[0], all[1], "4"}), found(group->getChild("size")));
    EXPECT_EQ(Lines{"1"}, found(group->getChild("fixed")));
}

TEST_F(ValueCheck, AFunctionThatThrowsAnythingDoesNotEndTheCheck) {
    const Handle size = group->getChild("size");
    const auto node = detail::SettingsAccess::node(*size);
    node->setValidator(
        CPPValidator([](const auto&, const auto&, const Array&) { throw 7; }, "tests", "seven"));
    int sevens = 0;
    const auto note = [&](const RefusedLevelValue& refused) {
        try {
            std::rethrow_exception(refused.failure);
        } catch (int thrown) {
            sevens += thrown == 7;
        } catch (...) {
        }
    };
    EXPECT_EQ(3U, checkStoredValues(*group, note));
    EXPECT_EQ(1, sevens);
    // What ends the thread is no finding.
    node->setValidator(
        CPPValidator([](const auto&, const auto&, const Array&) { throw boost::thread_interrupted(); },
                     "tests", "interrupted"));
    EXPECT_THROW(checkStoredValues(*group, note), boost::thread_interrupted);
    bool isOver = false;
    node->setValidator(CPPValidator([](const auto&, const auto&, const Array&) { ::pthread_exit(nullptr); },
                                    "tests", "ends"));
    std::thread([&] {
        checkStoredValues(*group, note);
        isOver = true;
    }).join();
    EXPECT_FALSE(isOver);
}

TEST_F(ValueCheck, TheDeclarativePartAlone) {
    const Handle size = group->getChild("size");
    detail::SettingsAccess::node(*size)->setValidator(
        CPPValidator([](const auto&, const auto&, const Array&) { throw 7; }, "tests", "seven"));
    for (const Handle& child : group->getChildren()) { // an alias follows
        if (child->getName() != "size" && child->getName() != "old")
            continue;
        EXPECT_NO_THROW(checkDeclaratively(*child, Array::scalar(7.0))) << child->getName();
        EXPECT_THROW(checkValue(*child, Array::scalar(7.0)), int);
        EXPECT_EQ("ValueMustBeString", failureOf([&] { checkDeclaratively(*child, Array::scalar(73.0)); }));
        EXPECT_EQ("DefaultValidationFailedOnVoidType", failureOf([&] { checkDeclaratively(*child, {}); }));
    }
    EXPECT_EQ("NotAKeyName", failureOf([&] { checkDeclaratively(*group, Array::scalar(1.0)); }));
}

} // namespace
