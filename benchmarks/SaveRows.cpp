// Bringing changed values to the disk, durably, and setting values while that goes on.

#include "Rows.hpp"

#include "settingscore/SaveReport.hpp"
#include "settingscore/SettingsSaving.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace bench {

namespace {

void require(bool isDone, const char* what) {
    if (!isDone)
        throw std::runtime_error(what);
}

std::string bytesOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// The least that replaces a file durably: write, flush, rename, flush the folder.
void replaceDurably(const std::filesystem::path& file, const std::string& bytes) {
    const std::filesystem::path temporary = file.string() + ".tmp";
    const int to = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(::write(to, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
    require(::fsync(to) == 0 && ::close(to) == 0, "flush");
    require(::rename(temporary.c_str(), file.c_str()) == 0, "rename");
    const int folder = ::open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(::fsync(folder) == 0 && ::close(folder) == 0, "flush the folder");
}

double nextValue() {
    static double value = 1e6;
    return value += 1;
}

} // namespace

std::vector<Row> saveRows(const Handle& root, const std::filesystem::path& folder) {
    for (int g = 0; g < groupCount; ++g)
        root->getChild(groupName(g))->set(settingName(0), nextValue(), "user");
    settings::core::waitForSettingsSaves();
    const Handle first = root->getChild(groupName(0));
    const std::string bytes = bytesOf(settings::core::lastSave(*first, "user").file);
    require(!bytes.empty(), "nothing was saved");
    const auto plain = folder / "floor";
    std::filesystem::create_directory(plain);

    const auto one = [first] {
        first->set(settingName(1), nextValue(), "user");
        require(settings::core::awaitSave(*first, "user").isOnDisk, "not saved");
        return std::uint64_t(1);
    };
    const auto oneFloor = [plain, bytes] {
        replaceDurably(plain / "one", bytes);
        return std::uint64_t(1);
    };
    const auto thousand = [root] {
        for (int g = 0; g < groupCount; ++g)
            for (int s = 0; s < 10; ++s)
                root->getChild(groupName(g))->set(settingName(s), nextValue(), "user");
        settings::core::waitForSettingsSaves();
        require(settings::core::lastSave(*root->getChild(groupName(groupCount - 1)), "user").isOnDisk,
                "not saved");
        return std::uint64_t(1);
    };
    const auto thousandFloor = [plain, bytes] {
        for (int g = 0; g < groupCount; ++g)
            replaceDurably(plain / groupName(g), bytes);
        return std::uint64_t(1);
    };
    const auto sets = [first](const char* level) {
        return [first, level] {
            for (int i = 0; i < 2000; ++i)
                first->set(settingName(2), nextValue(), level);
            return std::uint64_t(2000);
        };
    };
    std::vector<Row> rows{{"change one value of 10,000, durable on disk",
                           "<= 2x floor",
                           {{"this library", one}, {"floor", oneFloor}}},
                          {"change 1,000 values over 100 groups, durable",
                           "<= best peer",
                           {{"this library", thousand}, {"floor", thousandFloor}}},
                          {"set on level user while saves are queued",
                           "<= 1.2x session",
                           {{"this library", sets("user")}, {"on level session", sets("session")}}}};
    addSavingPeers(rows[0], rows[1], folder);
    return rows;
}

} // namespace bench
