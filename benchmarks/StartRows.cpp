// Starting on many definitions: a process of its own for every figure, so that nothing is there already.

#include "Floor.hpp"
#include "Rows.hpp"

#include "settingscore/FactoryFileLocation.hpp"
#include "settingscore/SettingsRoot.hpp"
#include "settingscore/SettingsSaving.hpp"
#include "settingscore/factoryfile/FactoryFileGenerator.hpp"
#include "settingscore/startup/init.hpp"
#include "varnek/host/Executable.hpp"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;
using varnek::data::Array;
using varnek::settings::FactoryGroup;

constexpr int runs = 7;

/// As much as a process uses of the memory.
double residentBytes() {
    ::malloc_trim(0);
    std::ifstream statm("/proc/self/statm");
    double total = 0, resident = 0;
    statm >> total >> resident;
    return resident * double(::sysconf(_SC_PAGESIZE));
}

// ---- contestants, each in a process of its own ----

StartFigures timed(const std::function<void()>& start, const std::function<double(int, int)>& read,
                   int groups, int settings) {
    StartFigures figures;
    const double before = residentBytes();
    const auto begin = Clock::now();
    const auto since = [&] { return std::chrono::duration<double, std::nano>(Clock::now() - begin).count(); };
    start();
    figures.start = since();
    double sum = read(groups / 2, settings / 2);
    figures.firstRead = since();
    for (int g = 0; g < groups; ++g)
        for (int s = 0; s < settings; ++s)
            sum += read(g, s);
    figures.allRead = since();
    keep(sum);
    figures.bytesPerSetting = (residentBytes() - before) / double(groups) / double(settings);
    return figures;
}

StartFigures ours(int groups, int settings) {
    Handle root;
    std::vector<Handle> handles(static_cast<std::size_t>(groups));
    return timed(
        [&] {
            ::settings::core::init();
            root = ::settings::core::detail::getSettingsRoot(::settings::core::DefaultRootIndex());
        },
        [&](int g, int s) {
            Handle& group = handles[static_cast<std::size_t>(g)];
            if (group == nullptr)
                group = root->getChild(groupName(g));
            return group->get<double>(settingName(s));
        },
        groups, settings);
}

/// Writes a personal file for each group.
StartFigures saveEachGroup(int groups) {
    ::settings::core::init();
    const Handle root = ::settings::core::detail::getSettingsRoot(::settings::core::DefaultRootIndex());
    for (int g = 0; g < groups; ++g)
        root->getChild(groupName(g))->set<double>(settingName(0), -1, "user");
    ::settings::core::waitForSettingsSaves();
    return {};
}

std::filesystem::path floorFile(const std::filesystem::path& folder, int g) {
    return folder / "floor" / groupName(g);
}

std::unique_ptr<FloorGroup<double>> readFloor(const std::filesystem::path& file) {
    const int from = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    std::string bytes(static_cast<std::size_t>(std::filesystem::file_size(file)), '\0');
    if (::read(from, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("cannot read " + file.string());
    ::close(from);
    std::vector<FloorGroup<double>::Setting> all;
    for (std::size_t at = 0; at < bytes.size();) {
        const auto length = static_cast<std::size_t>(bytes[at++]);
        FloorGroup<double>::Setting setting{bytes.substr(at, length), {}, 8};
        at += length;
        std::memcpy(&setting.values[3], bytes.data() + at, sizeof(double));
        at += sizeof(double);
        all.push_back(std::move(setting));
    }
    return std::make_unique<FloorGroup<double>>(std::move(all));
}

StartFigures floorStart(const std::filesystem::path& folder, int groups, int settings) {
    std::vector<std::unique_ptr<FloorGroup<double>>> all(static_cast<std::size_t>(groups));
    return timed([] {},
                 [&](int g, int s) {
                     auto& group = all[static_cast<std::size_t>(g)];
                     if (group == nullptr)
                         group = readFloor(floorFile(folder, g));
                     return *group->get(settingName(s));
                 },
                 groups, settings);
}

// ---- the data ----

void prepare(const std::filesystem::path& folder, int groups, int settings) {
    std::filesystem::create_directories(folder / "floor");
    for (int g = 0; g < groups; ++g) {
        FactoryGroup group(groupName(g));
        std::string plain;
        for (int s = 0; s < settings; ++s) {
            const double value = double(g) * 1000 + s;
            group.addSetting(settingName(s), {true, false, Array::scalar(value), {}, {}, false, false, {}});
            const std::string name = settingName(s);
            plain += static_cast<char>(name.size());
            plain += name;
            plain.append(reinterpret_cast<const char*>(&value), sizeof value);
        }
        std::ofstream(floorFile(folder, g), std::ios::binary) << plain;
        const auto file = folder / "group.vksettings";
        std::filesystem::remove(file);
        varnek::settings::FactoryFileGenerator(group).write(file);
        ::settings::core::installFactoryFile(file, folder / "factory", false);
    }
    prepareStartPeers(folder, groups, settings);
}

// ---- a figure ----

/// Personal files are those below `personal`.
StartFigures inAProcess(const std::string& who, const std::filesystem::path& folder,
                        const std::string& personal, int groups, int settings) {
    const auto folderOf = [&](const char* variable, const std::string& name) {
        std::filesystem::create_directories(folder / name);
        return std::string(variable) + "='" + (folder / name).string() + "' ";
    };
    const std::string command =
        folderOf("SETTINGS_FACTORYDIR", "factory") + folderOf("SETTINGS_INSTALLATIONDIR", "installation") +
        folderOf("VARNEK_PREFDIR", personal) + "'" + varnek::host::executablePath().string() + "' --start " +
        who + " '" + folder.string() + "' " + std::to_string(groups) + ' ' + std::to_string(settings);
    std::FILE* const output = ::popen(command.c_str(), "r");
    StartFigures figures;
    const int read = output == nullptr
                         ? 0
                         : std::fscanf(output, "%lf %lf %lf %lf", &figures.start, &figures.firstRead,
                                       &figures.allRead, &figures.bytesPerSetting);
    if (output == nullptr || ::pclose(output) != 0 || read != 4)
        throw std::runtime_error("a process of the start rows failed: " + command);
    return figures;
}

StartFigures median(std::vector<StartFigures> all) {
    const auto of = [&](double StartFigures::*figure) {
        std::vector<double> values;
        for (const StartFigures& each : all)
            values.push_back(each.*figure);
        std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
        return values[values.size() / 2];
    };
    return {of(&StartFigures::start), of(&StartFigures::firstRead), of(&StartFigures::allRead),
            of(&StartFigures::bytesPerSetting)};
}

struct Measured {
    std::vector<std::string> names;
    std::vector<StartFigures> figures;
};

/// The contestants in turn.
Measured measured(const std::filesystem::path& folder, int groups, int settings) {
    prepare(folder, groups, settings);
    Measured result{{"this library", "floor"}, {}};
    for (const std::string& peer : startPeers())
        result.names.push_back(peer);
    std::vector<std::vector<StartFigures>> all(result.names.size());
    for (int run = 0; run < runs; ++run)
        for (std::size_t i = 0; i < result.names.size(); ++i)
            all[i].push_back(
                inAProcess(i == 0 ? "ours" : result.names[i], folder, "unused", groups, settings));
    for (auto& each : all)
        result.figures.push_back(median(std::move(each)));
    return result;
}

/// Of what `measured` has prepared.
Measured withPersonalFiles(const std::filesystem::path& folder, int groups, int settings) {
    inAProcess("saving", folder, "used", groups, settings);
    std::vector<StartFigures> all;
    for (int run = 0; run < runs; ++run)
        all.push_back(inAProcess("ours", folder, "used", groups, settings));
    return {{"this library"}, {median(std::move(all))}};
}

Result row(const std::string& title, const std::string& target, const Measured& measured,
           double StartFigures::*figure, double scale = 1) {
    Result result{title, target, {}};
    for (std::size_t i = 0; i < measured.names.size(); ++i)
        result.measurements.push_back({measured.names[i], measured.figures[i].*figure * scale, 0});
    return result;
}

} // namespace

std::vector<Result> startResults(const std::filesystem::path& folder) {
    const Measured small = measured(folder / "start10000", 100, 100);
    const Measured personal = withPersonalFiles(folder / "start10000", 100, 100);
    const Measured large = measured(folder / "start100000", 100, 1000);
    const Measured many = measured(folder / "start500", 500, 200);
    Measured factor{{"this library", "floor"}, {}};
    for (std::size_t i = 0; i < small.names.size(); ++i)
        factor.figures.push_back({0, 0, large.figures[i].allRead / small.figures[i].allRead, 0});
    factor.names = small.names;
    return {
        row("10,000 settings in 100 groups: first read after start", "<= 1 ms", small,
            &StartFigures::firstRead),
        row("the same: all read", "<= 10 ms", small, &StartFigures::allRead),
        row("the same with a personal file for each group: all read", "", personal, &StartFigures::allRead),
        row("100,000 settings in 100 groups: all read", "", large, &StartFigures::allRead),
        row("all read, 100,000 settings against 10,000: factor", "<= 11", factor, &StartFigures::allRead),
        row("memory per setting at 100,000: bytes", "<= 320", large, &StartFigures::bytesPerSetting),
        row("500 toolboxes of 200 settings: start", "", many, &StartFigures::start),
        row("the same: first read after start", "", many, &StartFigures::firstRead),
        row("the same: memory per setting: bytes", "", many, &StartFigures::bytesPerSetting),
        row("the same: all read, per toolbox", "", many, &StartFigures::allRead, 1.0 / 500),
    };
}

int runStart(int argc, char** argv) {
    if (argc != 6)
        return 2;
    const std::string who = argv[2];
    const std::filesystem::path folder = argv[3];
    const int groups = std::atoi(argv[4]), settings = std::atoi(argv[5]);
    const StartFigures figures = who == "ours"     ? ours(groups, settings)
                                 : who == "saving" ? saveEachGroup(groups)
                                 : who == "floor"  ? floorStart(folder, groups, settings)
                                                   : startPeer(who, folder, groups, settings);
    std::printf("%.1f %.1f %.1f %.1f\n", figures.start, figures.firstRead, figures.allRead,
                figures.bytesPerSetting);
    return 0;
}

StartFigures timeStart(const std::function<void()>& start, const std::function<double(int, int)>& read,
                       int groups, int settings) {
    return timed(start, read, groups, settings);
}

} // namespace bench
