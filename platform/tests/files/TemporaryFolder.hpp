// A folder of its own for each test, removed afterwards, and plain ways to look at files that the tested code
// has no part in.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace testing_support {

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "varnek-test-XXXXXX").native();
        if (!::mkdtemp(name.data()))
            throw std::runtime_error("no temporary folder for the test");
        path_ = name;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
    /// Names of the entries, hidden ones included, sorted.
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            result.push_back(entry.path().filename().native());
        std::sort(result.begin(), result.end());
        return result;
    }

  private:
    std::filesystem::path path_;
};

inline std::string contentOf(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return stream ? std::string(std::istreambuf_iterator<char>(stream), {}) : "(cannot be read)";
}

inline void putContent(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// Runs `work` in a child process as a user without privileges and returns what `work` returns (0 to 255), or
/// -1.
inline int asOrdinaryUser(const std::function<int()>& work) {
    const ::pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
            ::_exit(254);
        ::_exit(work());
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace testing_support
