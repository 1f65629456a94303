// Runs all rows and writes the report: settings_bench [--report FILE] [--only TEXT-OF-THE-TITLE]

#include "Rows.hpp"

#include "settingscore/SettingsSaving.hpp"

#include <cstdio>
#include <fstream>
#include <string_view>

namespace {

using namespace bench;

constexpr char heading[] =
    "# Benchmark\n\nMedians of 11 rounds in one process, contestants in turn; ns per operation. 10,000 "
    "settings in "
    "100 groups,\nread in an order without pattern. The floor is a hand-written hash table with four values "
    "per "
    "setting\n(`benchmarks/Floor.hpp`); of saving, the system calls that replace a file durably; of "
    "starting, one "
    "plain file\nper group read into that table; no personal files unless the row says so. Starts are "
    "medians over 7 processes each.\n\n";

struct Options {
    std::string report;
    std::string only;
};

Options optionsOf(int argc, char** argv) {
    Options options;
    for (int i = 1; i + 1 < argc; i += 2)
        (std::string_view(argv[i]) == "--report" ? options.report : options.only) = argv[i + 1];
    return options;
}

class Run {
  public:
    explicit Run(std::string only) : only_(std::move(only)) {}

    bool wants(const std::string& title) const { return title.find(only_) != std::string::npos; }
    void add(const std::vector<Row>& rows) {
        for (const Row& row : rows)
            if (wants(row.title))
                results_.push_back(measure(row));
    }
    void add(std::vector<Result> results) {
        for (Result& result : results)
            results_.push_back(std::move(result));
    }
    const std::vector<Result>& results() const { return results_; }

  private:
    const std::string only_;
    std::vector<Result> results_;
};

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string_view(argv[1]) == "--start")
        return runStart(argc, argv);
    if (argc > 1 && std::string_view(argv[1]) == "--serve")
        return runServer(argc, argv);
    const Options options = optionsOf(argc, argv);
    const Folders folders;
    const Handle root = buildTree(folders);
    settings::core::turnOffSettingsSaving(); // these rows are about memory
    Run run(options.only);
    run.add(readRows(root));
    run.add(setRows(root));
    if (const Handle group = root->getChild(groupName(0)); group->isSet("setting042", "session"))
        group->unset("setting042", "session");
    run.add(validationRows());
    if (run.wants("two threads reading"))
        run.add(scalingResults(root));
    run.add(userLevelRows(root));
    settings::core::turnOnSettingsSaving();
    run.add(saveRows(root, folders.base));
    if (run.wants("another process"))
        run.add(remoteRows(root, folders.base));
    if (run.wants("start"))
        run.add(startResults(folders.base));
    const std::string text = report(run.results());
    if (options.report.empty())
        return 0;
    std::ofstream file(options.report);
    file << heading << text;
    if (!file.flush()) {
        std::fprintf(stderr, "cannot write %s\n", options.report.c_str());
        return 1;
    }
    return 0;
}
