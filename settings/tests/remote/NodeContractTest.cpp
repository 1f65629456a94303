// What reading a group promises, whichever process the group lives in: the same expectations for both.

#include "remote/SharedPlace.hpp"

#include "settingscore/exception/Exceptions.hpp"
#include "varnek/data/Array.hpp"

#include <complex>
#include <limits>

namespace {

using namespace settings::core;
using namespace settings::test;

const std::vector<Array>& kindsOfValues() {
    static const std::vector<Array> values = {
        Array::scalar(true),
        Array::scalar(std::numeric_limits<double>::denorm_min()),
        Array::scalar(-0.0F),
        Array::scalar(std::int8_t{-128}),
        Array::scalar(std::uint8_t{255}),
        Array::scalar(std::int16_t{-32768}),
        Array::scalar(std::uint16_t{65535}),
        Array::scalar(std::numeric_limits<std::int32_t>::min()),
        Array::scalar(std::numeric_limits<std::uint32_t>::max()),
        Array::scalar(std::numeric_limits<std::int64_t>::min() + 1),
        Array::scalar(std::numeric_limits<std::uint64_t>::max() - 1),
        Array::text(u""),
        Array::text(u"größe \U0001F642"),
        Array::text(std::u16string{u'a', 0, 0xD800, u'b'}),
        Array::make<std::u16string>({2, 1}, {u"one", u""}),
        Array::make<double>({0, 3}, {}),
        Array::make<double>({2, 3}, {1, 2, 3, 4, 5, std::numeric_limits<double>::infinity()}),
        Array::make<std::int64_t>({2, 1, 2}, {1, -1, std::numeric_limits<std::int64_t>::max(), 0}),
        Array::row(std::vector<bool>{true, false, true}),
        Array::make<Array>({2, 1}, {Array::text(u"one"), Array::text(u"")}),
    };
    return values;
}

std::string nameOf(const exception::ObjectHandle& handle) {
    return handle == nullptr ? "none" : handle->getFullName();
}

/// What an operation raises, with the fields of the failures that a reader meets.
std::string failing(const std::function<void()>& operation) {
    using namespace exception;
    try {
        operation();
    } catch (const NoSuchKey& f) {
        return std::string(f.what()) + " " + nameOf(f.getObjectInvovled()) + " " + f.getInputName();
    } catch (const exception::detail::NamedObjectFailure& f) {
        return classOf(f) + " " + nameOf(f.getObjectInvovled()) + " " + f.getInputName();
    } catch (const UnSupportedLevel& f) {
        return classOf(f) + " " + nameOf(f.getObjectInvovled()) + " " + f.getInputLevel() + " " +
               std::to_string(f.getSupportedLevelList().size());
    } catch (const CantModifyValuesOnReadOnlyLevel& f) {
        return classOf(f) + " " + nameOf(f.getObjectInvovled()) + " " + f.getLevelToModify();
    } catch (const ValueNotDefinedForGivenLevel& f) {
        return classOf(f) + " " + nameOf(f.getObjectInvovled()) + " " + f.getLevel();
    } catch (const CannotChangeValueForReadOnlySetting& f) {
        return classOf(f) + " " + nameOf(f.getCausingObject());
    } catch (const CannotAddRemoveNodeUnderReadOnlyParent& f) {
        return classOf(f) + " " + nameOf(f.getParentObject()) + " " + nameOf(f.getChildObject());
    } catch (const AttemptedRemovalOfFactoryGroupOrSetting& f) {
        return classOf(f) + " " + nameOf(f.getObjectInvovled()) + " " + f.getLevelNeedToBeUpdated();
    } catch (const InvalidNodePath& f) {
        return classOf(f) + " " + nameOf(f.getObjectInvovled()) + " " + f.getInvalidName();
    } catch (const std::exception& f) {
        return classOf(f) + ": " + f.what();
    }
    return "nothing";
}

struct NodeContract : SharedPlace, testing::WithParamInterface<const char*> {
    /// In the process that the group lives in.
    static void prepare() {
        const Handle editor = root()->getChild("editor");
        editor->set("size", Array::scalar(13.0), "user");
        editor->set("size", Array::scalar(14.0), "session");
        const Handle mine = editor->addGroup("mine.dotted", true, false, "session");
        for (std::size_t i = 0; i < kindsOfValues().size(); ++i)
            mine->addSetting("v" + std::to_string(100 + i), kindsOfValues()[i], true, false, "session");
    }
    void check(const std::function<void(const Handle&)>& expectations) const {
        const bool isRemote = std::string(GetParam()) == "remote";
        std::optional<OtherProcess> provider;
        if (isRemote)
            provider.emplace(publisher("provider", {"editor"}, prepare), OtherProcess::Steps());
        inAnotherProcess([&] {
            start("client");
            if (isRemote) {
                root()->getChild("shell"); // failures name settings of it
                ASSERT_EQ("", provider->started());
            } else {
                prepare();
            }
            const Handle editor = isRemote ? attached() : root()->getChild("editor");
            ASSERT_EQ(isRemote, settings::core::isRemote(*editor));
            expectations(editor);
        });
    }
};

TEST_P(NodeContract, ChildrenAndFlags) {
    check([](const Handle& editor) {
        const auto line = [](const Settings& node) {
            return node.getFullName() + (node.isLeafNode() ? " leaf" : " group") +
                   (node.isVisible() ? "" : " hidden") + (node.isReadOnly() ? " fixed" : "") +
                   (node.isRoot() ? " root" : "") + "\n";
        };
        std::string report = line(*editor), again;
        for (const Handle& child : editor->getChildren())
            report += line(*child);
        for (const Handle& child : editor->getChild("font")->getChildren())
            report += line(*child);
        EXPECT_EQ("editor group\n"
                  "editor.elsewhere leaf\n"
                  "editor.fixed leaf fixed\n"
                  "editor.font group fixed\n"
                  "editor.hidden leaf hidden\n"
                  "editor.mine.dotted group\n"
                  "editor.none leaf\n"
                  "editor.shortcut leaf\n"
                  "editor.size leaf\n"
                  "editor.title leaf\n"
                  "editor.font.family leaf\n",
                  report);
        for (const Handle& child : editor->getChildren()) // asked twice it says the same
            for (int i = 0; i < 2; ++i)
                again += line(*child);
        EXPECT_NE(std::string::npos, again.find("editor.hidden leaf hidden\neditor.hidden leaf hidden\n"));
        EXPECT_TRUE(editor->getChild("size")->getChildren().empty());
        EXPECT_EQ(nullptr, editor->getChild("size")->getChild("x"));
    });
}

TEST_P(NodeContract, NamesParentsAndEquality) {
    check([](const Handle& editor) {
        const Handle family = editor->getSettingsByFullName("font.family");
        EXPECT_EQ("family", family->getName());
        EXPECT_EQ("editor.font", family->getParent()->getFullName());
        EXPECT_TRUE(Settings::equal(editor, family->getParent()->getParent()));
        EXPECT_TRUE(editor->getParent()->isRoot());
        EXPECT_TRUE(Settings::equal(family, editor->getChild("font")->getChild("family")));
        EXPECT_TRUE(Settings::equal(family, root()->getSettingsByFullName("editor.font.family")));
        EXPECT_FALSE(Settings::equal(editor->getChild("size"), editor->getChild("title")));
        EXPECT_EQ(family->getListenerValueChangeEventType(),
                  editor->getChild("font")->getChild("family")->getListenerValueChangeEventType());
        EXPECT_EQ(nullptr, editor->getChild("nothing"));
        EXPECT_EQ("editor.mine.dotted.v100",
                  editor->getChild("mine.dotted")->getChild("v100")->getFullName());
    });
}

TEST_P(NodeContract, ValuesOfLevels) {
    check([](const Handle& editor) {
        const std::pair<const char*, double> sizes[] = {
            {"", 14}, {"session", 14}, {"user", 13}, {"factory", 12}};
        for (const auto& [level, value] : sizes)
            EXPECT_EQ(Array::scalar(value), editor->get("size", level)) << level;
        EXPECT_TRUE(editor->get("size", "installation").isVoid());
        EXPECT_TRUE(editor->isSet("size", "user"));
        EXPECT_FALSE(editor->isSet("size", "installation"));
        EXPECT_FALSE(editor->isSet("none", ""));
        EXPECT_TRUE(editor->get("none").isVoid());
    });
}

TEST_P(NodeContract, EveryKindOfValue) {
    check([](const Handle& editor) {
        const Handle mine = editor->getChild("mine.dotted");
        for (std::size_t i = 0; i < kindsOfValues().size(); ++i)
            EXPECT_EQ(kindsOfValues()[i], mine->get("v" + std::to_string(100 + i))) << i;
        EXPECT_TRUE(std::signbit(mine->get("v102").element<float>()));
    });
}

TEST_P(NodeContract, Aliases) {
    check([](const Handle& editor) {
        EXPECT_EQ("editor.font.family", editor->getChild("shortcut")->getFullName());
        EXPECT_EQ(Array::text(u"mono"), editor->get("shortcut"));
        EXPECT_EQ(Array::scalar(7.0), editor->get("elsewhere"));
    });
}

TEST_P(NodeContract, Failures) {
    check([](const Handle& editor) {
        const std::pair<std::function<void()>, std::string> table[] = {
            {[&] { editor->get("nothing"); },
             "The requested settings nothing does not exist. editor nothing"},
            {[&] { editor->get("font"); }, "NotAKeyName editor font"},
            {[&] { editor->get("size", "nowhere"); }, "UnSupportedLevel editor nowhere 4"},
            {[&] { editor->getChild("size")->get("x"); }, "NotANodeName editor size"},
            {[&] { editor->isSet("nothing", "user"); },
             "The requested settings nothing does not exist. editor nothing"},
            {[&] { editor->getSettingsByFullName("font.nothing"); }, "InvalidNodePath editor font.nothing"},
            {[&] { editor->unset("nothing", "user"); },
             "The requested settings nothing does not exist. editor nothing"},
            {[&] { editor->unset("size", "factory"); }, "CantModifyValuesOnReadOnlyLevel editor factory"},
            {[&] { editor->unset("size", "nowhere"); }, "UnSupportedLevel editor nowhere 4"},
            {[&] { editor->unset("title", "user"); }, "ValueNotDefinedForGivenLevel editor.title user"},
            {[&] { editor->unset("elsewhere", "user"); }, "ValueNotDefinedForGivenLevel shell.x user"},
            {[&] { editor->unset("fixed", "user"); }, "CannotChangeValueForReadOnlySetting editor.fixed"},
            {[&] { editor->removeNode("nothing"); }, "NoSuchNode editor nothing"},
            {[&] { editor->removeNode("font"); },
             "AttemptedRemovalOfFactoryGroupOrSetting editor.font factory"},
            {[&] { editor->getChild("font")->removeNode("family"); },
             "CannotAddRemoveNodeUnderReadOnlyParent editor.font editor.font.family"},
        };
        for (const auto& [operation, expected] : table)
            EXPECT_EQ(expected, failing(operation));
    });
}

TEST_P(NodeContract, ValuesAndNodesGo) {
    check([](const Handle& editor) {
        editor->unset("size", "session");
        EXPECT_EQ(Array::scalar(13.0), editor->get("size"));
        editor->unset("size", "user");
        EXPECT_EQ(Array::scalar(12.0), editor->get("size"));
        const Handle mine = editor->getChild("mine.dotted");
        mine->removeNode("v100");
        EXPECT_EQ(nullptr, mine->getChild("v100"));
        EXPECT_EQ(kindsOfValues().size() - 1, mine->getChildren().size());
        editor->removeNode("mine.dotted");
        EXPECT_EQ(nullptr, editor->getChild("mine.dotted"));
    });
}

INSTANTIATE_TEST_SUITE_P(, NodeContract, testing::Values("local", "remote"),
                         [](const auto& each) { return std::string(each.param); });

} // namespace
