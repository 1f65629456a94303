/// The rows of the benchmark, one file each.
#pragma once

#include "Harness.hpp"
#include "Workload.hpp"

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

/// Other stores doing the read by name, where their packages are installed.
void addPeers(Row& defaultRead);

} // namespace bench
