/// The data of all rows: 100 top-level groups of 100 settings and a child group with a vector, read by name
/// in an order without pattern.
#pragma once

#include "settingscore/Settings.hpp"

#include <boost/shared_ptr.hpp>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Handle = boost::shared_ptr<settings::core::Settings>;

inline constexpr int groupCount = 100;
inline constexpr int settingsPerGroup = 100;

std::string groupName(int group);   // "group017"
std::string settingName(int index); // "setting042"

/// A folder for the factory and personal files, removed at the end. Sets the variables that name the level
/// folders.
class Folders {
  public:
    Folders();
    ~Folders();
    std::filesystem::path base;
};

/// Writes and installs the factory files, starts the library on them and returns the root.
Handle buildTree(const Folders& folders);

/// (group, setting) of every setting once, shuffled the same way in every run.
std::vector<std::pair<int, int>> shuffledKeys();

} // namespace bench
