// Random changes over random restarts, against a model of a few maps: what was set is what is read back.

#include "support/FileTree.hpp"

#include "settingscore/boostany/ArrayConversion.hpp"

#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <array>
#include <map>
#include <set>

namespace {

using namespace settings::test;
using Names = std::vector<std::string>;

/// Settings that factory definitions may or may not define at a start; "/" stands between a group and a name.
const Names factoryPaths = {"a", "b", "child/x", "child/y", "deep/in/z"};
/// Settings that users add; "mine" and "mine/own" are groups that they add.
const Names userPaths = {"u", "v", "mine/u", "mine/own/w"};
const std::array<LevelIndex, 2> levels = {LevelIndex::user, LevelIndex::installation};

boost::any arbitraryValue() {
    switch (*rc::gen::inRange(0, 7)) {
    case 0:
        return *rc::gen::arbitrary<double>();
    case 1:
        return *rc::gen::arbitrary<std::int64_t>();
    case 2:
        return *rc::gen::arbitrary<std::uint64_t>();
    case 3:
        return *rc::gen::arbitrary<bool>();
    case 4:
        return *rc::gen::arbitrary<std::vector<float>>();
    case 5:
        return *rc::gen::container<std::u16string>(rc::gen::map(
            rc::gen::arbitrary<std::uint16_t>(), [](std::uint16_t unit) { return char16_t(unit); }));
    default:
        return *rc::gen::arbitrary<std::vector<bool>>();
    }
}

class Run {
  public:
    Run() { start(); }

    void step() {
        switch (*rc::gen::weightedElement<int>({{6, 0}, {3, 1}, {2, 2}, {1, 3}, {2, 4}})) {
        case 0:
            set();
            break;
        case 1:
            unset();
            break;
        case 2:
            add();
            break;
        case 3:
            remove();
            break;
        default:
            start();
        }
        compare();
    }

    void compareAll() {
        defined_ = {factoryPaths.begin(), factoryPaths.end()};
        open();
        compare();
    }

  private:
    void start() {
        defined_.clear();
        for (const std::string& path : factoryPaths)
            if (*rc::gen::inRange(0, 3) != 0)
                defined_.insert(path);
        open();
    }

    void open() {
        tree_.emplace(folder_.path());
        const Handle top = tree_->group("g");
        for (const std::string& path : defined_) {
            const auto [group, name] = placeOf(path, true);
            TestTree::setting(group, name);
        }
        tree_->load(top);
    }

    /// The group and the name of a path; missing groups are made, those of users through the handle.
    std::pair<Handle, std::string> placeOf(const std::string& path, bool make) {
        Handle group = tree_->root->getChild("g");
        std::size_t from = 0;
        for (std::size_t slash; (slash = path.find('/', from)) != path.npos; from = slash + 1) {
            const std::string name = path.substr(from, slash - from);
            Handle child = group->getChild(name);
            if (child == nullptr && make)
                child = path.starts_with("mine") ? group->addGroup(name, true, false, "user")
                                                 : TestTree::childGroup(group, name);
            if (child == nullptr)
                return {};
            group = child;
        }
        return {group, path.substr(from)};
    }

    bool exists(const std::string& path) const { return defined_.contains(path) || added_.contains(path); }

    std::optional<std::string> existing() const {
        Names paths(defined_.begin(), defined_.end());
        paths.insert(paths.end(), added_.begin(), added_.end());
        if (paths.empty())
            return std::nullopt;
        return *rc::gen::elementOf(paths);
    }

    void set() {
        const auto path = existing();
        const LevelIndex level = *rc::gen::elementOf(levels);
        const boost::any value = arbitraryValue();
        if (!path)
            return;
        const auto [group, name] = placeOf(*path, false);
        group->setAny(name, value, settings::core::levelName(level));
        values_[level][*path] = value;
    }

    void unset() {
        const auto path = existing();
        const LevelIndex level = *rc::gen::elementOf(levels);
        if (!path || values_[level].erase(*path) == 0)
            return;
        const auto [group, name] = placeOf(*path, false);
        group->unset(name, settings::core::levelName(level));
    }

    void add() {
        const std::string path = *rc::gen::elementOf(userPaths);
        const double value = *rc::gen::arbitrary<double>();
        if (!added_.insert(path).second)
            return;
        const auto [group, name] = placeOf(path, true);
        group->addSetting(name, Array::scalar(value), true, false, "user");
        values_[LevelIndex::user][path] = value;
    }

    void remove() {
        if (added_.empty())
            return;
        const std::string path = *rc::gen::elementOf(added_);
        const auto [group, name] = placeOf(path, false);
        group->removeNode(name);
        added_.erase(path);
        for (auto& [level, values] : values_)
            values.erase(path);
    }

    void compare() {
        for (const LevelIndex level : levels)
            for (const Names& paths : {factoryPaths, userPaths})
                for (const std::string& path : paths)
                    compare(path, level);
    }

    void compare(const std::string& path, LevelIndex level) {
        const auto [group, name] = placeOf(path, false);
        const auto node = group == nullptr ? nullptr : group->getChild(name);
        RC_ASSERT((node != nullptr) == exists(path));
        if (node == nullptr)
            return;
        const boost::any value = group->getAny(name, settings::core::levelName(level));
        const auto expected = values_[level].find(path);
        RC_ASSERT(value.empty() == (expected == values_[level].end()));
        if (value.empty())
            return;
        using settingscore::boostany::toArray;
        RC_ASSERT(toArray(value) == toArray(expected->second)); // compares NaN with itself
    }

    const TempFolder folder_{quickPlace()};
    std::optional<FileTree> tree_;
    std::set<std::string> defined_;
    std::set<std::string> added_;
    std::map<LevelIndex, std::map<std::string, boost::any>> values_;
};

RC_GTEST_PROP(FileModel, WhatWasSetIsReadBack, ()) {
    Run run;
    const int steps = *rc::gen::inRange(1, 30);
    for (int i = 0; i < steps; ++i)
        run.step();
    run.compareAll();
}

} // namespace
