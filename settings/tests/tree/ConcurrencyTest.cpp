// Readers against writers; meant to run under ThreadSanitizer as well.

#include "support/TestTree.hpp"

#include "settingscore/exception/Exceptions.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

namespace {

using namespace settings::test;
using settings::core::Settings;

int rounds() {
    return std::getenv("VKSETTINGS_SOAK") != nullptr ? 200'000 : 3'000;
}

/// Runs all at once and waits for their end.
void together(std::vector<std::function<void()>> work) {
    std::atomic<std::size_t> ready{0};
    std::vector<std::thread> threads;
    for (auto& job : work)
        threads.emplace_back([&, job] {
            ++ready;
            while (ready < work.size())
                std::this_thread::yield();
            job();
        });
    for (auto& thread : threads)
        thread.join();
}

TEST(Concurrency, ReadersSeeWholeValuesWhileWritersReplaceThem) {
    const TestTree tree;
    const Handle group = tree.group("g");
    TestTree::setting(group, "v", Array::row(std::vector<double>(16, 0.0)));
    TestTree::setting(group, "s", Array::scalar(0.0));
    std::atomic<int> writers{2};
    std::atomic<long> torn{0};
    const auto write = [&](const char* level) {
        for (int i = 1; i <= rounds(); ++i) {
            group->set("v", std::vector<double>(16, double(i)), level);
            group->set("s", double(i), level);
            if (i % 7 == 0)
                group->unset("s", level);
        }
        --writers;
    };
    const auto read = [&] {
        while (writers > 0) {
            const auto all = group->get<std::vector<double>>("v");
            if (all.size() != 16 || all.front() != all.back())
                ++torn;
            if (tree.root->getByFullName<double>("g.s") < 0)
                ++torn;
        }
    };
    together({[&] { write("user"); }, [&] { write("session"); }, read, read});
    EXPECT_EQ(0, torn);
    EXPECT_EQ(double(rounds()), group->get<std::vector<double>>("v", "user").front());
}

TEST(Concurrency, ChildrenComeAndGoUnderReaders) {
    const TestTree tree;
    const Handle group = tree.group("g");
    std::atomic<int> writers{2};
    std::atomic<long> wrong{0};
    const auto churn = [&](const std::string& name) {
        for (int i = 0; i < rounds() / 10; ++i) {
            const Handle child = group->addGroup(name, true, false, "session");
            child->addSetting("s", Array::scalar(1.0), true, false, "session");
            child->set("s", 2.0, "session");
            group->removeNode(name);
            if (child->isConnectedToTheSettingsTree() || child->get<double>("s") != 2.0)
                ++wrong;
        }
        --writers;
    };
    const auto look = [&] {
        while (writers > 0) {
            for (const Handle& child : group->getChildren()) {
                child->getFullName();
                if (const Handle parent = child->getParent(); parent != nullptr && parent->getName() != "g")
                    ++wrong;
                try {
                    const double value = child->get<double>("s");
                    if (value != 1.0 && value != 2.0)
                        ++wrong;
                } catch (const settings::core::exception::SettingsException&) {
                    // not added yet
                }
            }
            group->getChild("a");
        }
    };
    together({[&] { churn("a"); }, [&] { churn("b"); }, look, look});
    EXPECT_EQ(0, wrong);
    EXPECT_TRUE(group->getChildren().empty());
}

TEST(Concurrency, OneOfManyAddersOfANameWins) {
    const TestTree tree;
    std::atomic<int> added{0}, refused{0};
    const auto add = [&](bool upper) {
        for (int i = 0; i < 200; ++i) {
            try {
                tree.root->addGroup((upper ? "G" : "g") + std::to_string(i), true, false, "session");
                ++added;
            } catch (const settings::core::exception::ErrorAddingTopLevelNode&) {
                ++refused;
            }
        }
    };
    together({[&] { add(true); }, [&] { add(false); }, [&] { add(true); }});
    EXPECT_EQ(200, added);
    EXPECT_EQ(400, refused);
}

TEST(Concurrency, WhoeverFindsANewSettingFindsItInItsTree) {
    const TestTree tree;
    const Handle group = tree.group("g");
    const int additions = rounds() / 10;
    std::atomic<int> added{0}, handled{0}, wrong{0};
    together({[&] {
                  for (int i = 1; i <= additions; ++i) {
                      added = i;
                      group->addSetting("s", Array::scalar(0.0), true, false, "session");
                      while (handled < i) // it is removed only after it was found
                          std::this_thread::yield();
                      group->removeNode("s");
                  }
              },
              [&] {
                  while (handled < additions) {
                      const Handle setting = added > handled ? group->getChild("s") : Handle();
                      if (setting == nullptr)
                          continue;
                      if (!setting->isConnectedToTheSettingsTree() || setting->getFullName() != "g.s")
                          ++wrong;
                      Settings::setTogether({{setting, Array::scalar(1.0)}}, "session");
                      if (group->get<double>("s") != 1.0)
                          ++wrong;
                      ++handled;
                  }
              }});
    EXPECT_EQ(0, wrong);
    const auto requests = tree.requests->take();
    EXPECT_EQ(std::size_t(additions) * 2, requests.size()) << "one save for each addition and each change";
}

TEST(Concurrency, AnEffectiveValueIsOneThatWasInEffect) {
    const TestTree tree;
    const Handle group = tree.group("g");
    TestTree::setting(group, "s", Array::scalar(0.0));
    TestTree::setting(group, "alias", Array::scalar(0.0), settings::core::ReadOnlyState::inherited, "g.s");
    group->set("s", 1.0, "user");
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    together({[&] {
                  for (int i = 0; i < rounds(); ++i) { // never without one of the two
                      group->set("s", 2.0, "session");
                      group->unset("s", "user");
                      group->set("s", 1.0, "user");
                      group->unset("s", "session");
                  }
                  stop = true;
              },
              [&] {
                  while (!stop)
                      if (group->get<double>("alias") == 0.0 || group->get<double>("s") == 0.0)
                          ++wrong;
              }});
    EXPECT_EQ(0, wrong);
}

TEST(Concurrency, EveryChangeOfASettingIsAnnouncedOnce) {
    const TestTree tree;
    const Handle group = tree.group("g");
    TestTree::setting(group, "s", Array::scalar(0.0));
    RecordedEvents events;
    const auto write = [&](int from) {
        for (int i = 0; i < 500; ++i)
            group->set("s", double(from + i), "user");
    };
    together({[&] { write(1'000); }, [&] { write(5'000); }});
    EXPECT_EQ(1'000U, events.take().size());
}

} // namespace
