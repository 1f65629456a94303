// Reading by name: default level, user level, full path, vector; one thread and two.

#include "Floor.hpp"
#include "Rows.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <unordered_map>

namespace bench {

namespace {

using FloorGroups = std::vector<FloorGroup<double>>;

struct ReadData {
    std::vector<std::pair<int, int>> keys = shuffledKeys();
    std::vector<std::string> names, paths;
    std::vector<Handle> groups, children;
    FloorGroups floor, floorUser;

    explicit ReadData(const Handle& root) {
        for (int s = 0; s < settingsPerGroup; ++s)
            names.push_back(settingName(s));
        for (const auto& [g, s] : keys)
            paths.push_back(groupName(g) + "." + settingName(s));
        for (int g = 0; g < groupCount; ++g) {
            groups.push_back(root->getChild(groupName(g)));
            children.push_back(groups.back()->getChild("more"));
            std::vector<FloorGroup<double>::Setting> byDefault, byUser;
            for (int s = 0; s < settingsPerGroup; ++s) {
                const double value = g * settingsPerGroup + s;
                byDefault.push_back({settingName(s), {0, 0, 0, value}, 0b1000});
                byUser.push_back({settingName(s), {0, value + 1, 0, value}, 0b1010});
            }
            floor.emplace_back(std::move(byDefault));
            floorUser.emplace_back(std::move(byUser));
        }
    }
};

Work readAll(const std::shared_ptr<ReadData>& data) {
    return [data] {
        double sum = 0;
        for (const auto& [g, s] : data->keys)
            sum += data->groups[std::size_t(g)]->get<double>(data->names[std::size_t(s)]);
        keep(sum);
        return data->keys.size();
    };
}

Work readFloor(const std::shared_ptr<ReadData>& data, FloorGroups ReadData::*groups) {
    return [data, groups] {
        double sum = 0;
        for (const auto& [g, s] : data->keys)
            sum += *(data.get()->*groups)[std::size_t(g)].get(data->names[std::size_t(s)]);
        keep(sum);
        return data->keys.size();
    };
}

Row pathRow(const Handle& root, const std::shared_ptr<ReadData>& data) {
    const auto floorRoot = std::make_shared<std::unordered_map<std::string_view, FloorGroup<double>*>>();
    static std::vector<std::string> groupNames;
    for (int g = 0; g < groupCount; ++g)
        groupNames.push_back(groupName(g));
    for (int g = 0; g < groupCount; ++g)
        floorRoot->emplace(groupNames[std::size_t(g)], &data->floor[std::size_t(g)]);
    return {"read by full path \"group.key\"",
            "<= 3x floor",
            {{"this library",
              [root, data] {
                  double sum = 0;
                  for (const std::string& path : data->paths)
                      sum += root->getByFullName<double>(path);
                  keep(sum);
                  return data->paths.size();
              }},
             {"floor", [floorRoot, data] {
                  double sum = 0;
                  for (const std::string_view path : data->paths) {
                      const std::size_t dot = path.find('.');
                      sum += *floorRoot->find(path.substr(0, dot))->second->get(path.substr(dot + 1));
                  }
                  keep(sum);
                  return data->paths.size();
              }}}};
}

Row vectorRow(const std::shared_ptr<ReadData>& data) {
    const auto floor = std::make_shared<std::vector<FloorGroup<std::vector<double>>>>();
    for (int g = 0; g < groupCount; ++g) {
        std::vector<FloorGroup<std::vector<double>>::Setting> settings(1);
        settings[0].name = "vector";
        settings[0].values[3] = std::vector<double>(100, 1.5);
        settings[0].set = 0b1000;
        floor->emplace_back(std::move(settings));
    }
    return {"read a 100-element vector",
            "<= 3x floor",
            {{"this library",
              [data] {
                  double sum = 0;
                  for (int round = 0; round < 20; ++round)
                      for (const Handle& group : data->children)
                          sum += group->get<std::vector<double>>("vector").back();
                  keep(sum);
                  return std::uint64_t(20 * groupCount);
              }},
             {"floor", [floor] {
                  double sum = 0;
                  for (int round = 0; round < 20; ++round)
                      for (const auto& group : *floor) {
                          const std::vector<double> copy = *group.get("vector");
                          keep(copy);
                          sum += copy.back();
                      }
                  keep(sum);
                  return std::uint64_t(20 * groupCount);
              }}}};
}

/// Reads per second of `threads` threads, each running `work` over and over for a while.
double throughput(int threads, const std::function<std::uint64_t()>& work) {
    using Clock = std::chrono::steady_clock;
    std::atomic<std::uint64_t> done{0};
    std::atomic<int> ready{0};
    std::vector<std::thread> running;
    const auto start = Clock::now() + std::chrono::milliseconds(20);
    const auto end = start + std::chrono::milliseconds(300);
    for (int i = 0; i < threads; ++i)
        running.emplace_back([&] {
            ++ready;
            while (Clock::now() < start)
                std::this_thread::yield();
            std::uint64_t mine = 0;
            while (Clock::now() < end)
                mine += work();
            done += mine;
        });
    for (auto& thread : running)
        thread.join();
    return double(done.load()) / 0.3;
}

Result scaling(const std::string& title, const std::function<std::uint64_t()>& work) {
    std::vector<double> one, two;
    for (int round = 0; round < 5; ++round) {
        one.push_back(throughput(1, work));
        two.push_back(throughput(2, work));
    }
    std::sort(one.begin(), one.end());
    std::sort(two.begin(), two.end());
    return {title, ">= 1.9 times as much", {{"two threads against one: factor", two[2] / one[2], 0}}};
}

} // namespace

std::vector<Row> readRows(const Handle& root) {
    const auto data = std::make_shared<ReadData>(root);
    std::vector<Row> rows;
    rows.push_back({"effective read of a double, default level",
                    "<= 3x floor, 0 allocations",
                    {{"this library", readAll(data)}, {"floor", readFloor(data, &ReadData::floor)}}});
    addPeers(rows.back());
    rows.push_back(pathRow(root, data));
    rows.push_back(vectorRow(data));
    return rows;
}

std::vector<Row> userLevelRows(const Handle& root) {
    const auto data = std::make_shared<ReadData>(root);
    for (const auto& [g, s] : data->keys)
        data->groups[std::size_t(g)]->set(settingName(s), double(g * settingsPerGroup + s + 1), "user");
    return {{"effective read of a double, value on level user",
             "<= 2x floor",
             {{"this library", readAll(data)}, {"floor", readFloor(data, &ReadData::floorUser)}}}};
}

std::vector<Result> scalingResults(const Handle& root) {
    const auto data = std::make_shared<ReadData>(root);
    const Handle group = data->groups.front();
    return {scaling("two threads reading all settings", readAll(data)),
            scaling("two threads reading one setting", [group] {
                double sum = 0;
                for (int i = 0; i < 1000; ++i)
                    sum += group->get<double>("setting042");
                keep(sum);
                return std::uint64_t(1000);
            })};
}

} // namespace bench
