/// The rows of the benchmark, one file each.
#pragma once

#include "Harness.hpp"
#include "Workload.hpp"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

std::vector<Row> readRows(const Handle& root);
/// Reading threads against one: how much more two of them get done.
std::vector<Result> scalingResults(const Handle& root);
/// To be run after the others: puts a value on the user level of every setting.
std::vector<Row> userLevelRows(const Handle& root);
std::vector<Row> setRows(const Handle& root);
/// Declarative checks of a long vector against loops over its elements.
std::vector<Row> validationRows();

/// Saving, below `folder`. To be run last: it turns saving on again.
std::vector<Row> saveRows(const Handle& root, const std::filesystem::path& folder);

/// Other stores doing the read by name, where their packages are installed.
void addPeers(Row& defaultRead);
/// The same stores writing files below `folder`.
void addSavingPeers(Row& oneValue, Row& thousandValues, const std::filesystem::path& folder);

/// A store of 10,000 settings that is written to with `set` and brought to the disk with `sync`.
Contestant savingPeer(std::string name, std::function<void(int group, int setting, double value)> set,
                      std::function<void()> sync, int groups, int settingsOfEach);

} // namespace bench
