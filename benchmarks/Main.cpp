// Runs all rows and writes the report: settings_bench [--report FILE]

#include "Rows.hpp"

#include "settingscore/SettingsSaving.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

int main(int argc, char** argv) {
    using namespace bench;
    const Folders folders;
    const Handle root = buildTree(folders);
    settings::core::turnOffSettingsSaving(); // these rows are about memory
    std::vector<Result> results;
    for (const Row& row : readRows(root))
        results.push_back(measure(row));
    for (const Row& row : setRows(root))
        results.push_back(measure(row));
    root->getChild(groupName(0))->unset("setting042", "session");
    for (const Row& row : validationRows())
        results.push_back(measure(row));
    for (Result& result : scalingResults(root))
        results.push_back(std::move(result));
    for (const Row& row : userLevelRows(root))
        results.push_back(measure(row));
    ::unsetenv("SETTINGS_USERDIR"); // the tree has its folders; saves go the way of an application's
    settings::core::turnOnSettingsSaving();
    for (const Row& row : saveRows(root, folders.base))
        results.push_back(measure(row));
    const std::string text = report(results);
    if (argc == 3 && std::strcmp(argv[1], "--report") == 0) {
        std::ofstream file(argv[2]);
        file << "# Benchmark\n\nMedians of 11 rounds in one process, contestants in turn; ns per operation. "
                "10,000 "
                "settings in 100 groups,\nread in an order without pattern. The floor is a hand-written hash "
                "table "
                "with four values per setting\n(`benchmarks/Floor.hpp`).\n\n"
             << text;
        if (!file) {
            std::fprintf(stderr, "cannot write %s\n", argv[2]);
            return 1;
        }
    }
    return 0;
}
