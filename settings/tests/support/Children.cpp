#include "support/Children.hpp"

#include "support/AtLine.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>

namespace settings::test {

namespace {

constexpr int nobody = 65534;

/// Never goes on with the tests of the parent.
[[noreturn]] void workAndEnd(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& failure) {
        ADD_FAILURE() << failure.what();
    }
    std::fflush(nullptr);
    ::_exit(testing::Test::HasFailure() ? 1 : 0);
}

} // namespace

Child::Child(const std::function<void()>& work) {
    id_ = ::fork();
    if (id_ == 0)
        workAndEnd(work);
    EXPECT_NE(-1, id_);
}

int Child::wait() {
    if (!isOver_ && id_ != -1) {
        EXPECT_EQ(id_, ::waitpid(id_, &status_, 0));
    }
    isOver_ = true;
    return status_;
}

void inAnotherProcess(const std::function<void()>& work) {
    std::fflush(nullptr);
    const int status = Child(work).wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

void asOrdinaryUser(const std::function<void()>& work) {
    inAnotherProcess([&] {
        becomeOrdinaryUser();
        work();
    });
}

void becomeOrdinaryUser() {
    if (::geteuid() == 0 && (::setgid(nobody) != 0 || ::setuid(nobody) != 0))
        ::_exit(3);
}

void inChildrenAtOnce(int count, const std::function<void(int)>& work) {
    std::array<int, 2> barrier{};
    ASSERT_EQ(0, ::pipe(barrier.data()));
    std::deque<Child> children;
    for (int i = 0; i < count; ++i)
        children.emplace_back([&, i] {
            char byte = 0;
            ::close(barrier[1]);
            [[maybe_unused]] const auto ended = ::read(barrier[0], &byte, 1);
            work(i);
        });
    ::close(barrier[0]);
    ::close(barrier[1]); // now they go
    for (Child& child : children)
        EXPECT_EQ(0, child.wait());
}

bool isKilledAtLine(const std::string& channel, const std::string& text, const std::function<void()>& work,
                    int times) {
    return WIFSIGNALED(Child([&] {
                           const AtLine moment(
                               channel, text, [] { ::kill(::getpid(), SIGKILL); }, times);
                           work();
                           ::_exit(0); // as a process whose end nothing follows
                       }).wait());
}

void becomeTest(const std::string& test, const std::string& folder) {
    ::setenv("FILE_WRITER_FOLDER", folder.c_str(), 1);
    const std::string filter = "--gtest_filter=" + test;
    const int silent = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(silent, STDOUT_FILENO);
    ::execl("/proc/self/exe", "settings_file_tests", filter.c_str(), "--gtest_also_run_disabled_tests",
            static_cast<char*>(nullptr));
    ::_exit(127);
}

} // namespace settings::test
