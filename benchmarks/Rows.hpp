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

/// Reading and browsing a group of another process. Such processes have their sockets below `folder`.
std::vector<Row> remoteRows(const Handle& root, const std::filesystem::path& folder);
/// One such process: settings_bench --serve CONTESTANT FOLDER
int runServer(int argc, char** argv);

/// What one process needs from the beginning of its work on.
struct StartFigures {
    double start = 0;     ///< ns until a setting can be asked for
    double firstRead = 0; ///< ns until one has been read
    double allRead = 0;   ///< ns until all have been read
    double bytesPerSetting = 0;
};

/// Starting on many definitions, below `folder`.
std::vector<Result> startResults(const std::filesystem::path& folder);
/// One such process: settings_bench --start CONTESTANT FOLDER GROUPS SETTINGS-OF-EACH
int runStart(int argc, char** argv);
/// For contestants: `start` opens the store, `read` takes one value out of it.
StartFigures timeStart(const std::function<void()>& start, const std::function<double(int, int)>& read,
                       int groups, int settings);
std::vector<std::string> startPeers();
void prepareStartPeers(const std::filesystem::path& folder, int groups, int settings);
StartFigures startPeer(const std::string& peer, const std::filesystem::path& folder, int groups,
                       int settings);

/// Other stores doing the read by name, where their packages are installed.
void addPeers(Row& defaultRead);
/// The same stores writing files below `folder`.
void addSavingPeers(Row& oneValue, Row& thousandValues, const std::filesystem::path& folder);

/// A store of 10,000 settings that is written to with `set` and brought to the disk with `sync`.
Contestant savingPeer(std::string name, std::function<void(int group, int setting, double value)> set,
                      std::function<void()> sync, int groups, int settingsOfEach);

} // namespace bench
