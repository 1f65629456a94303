/// Children of fork() that do a part of a test. Failures of their expectations are the test's.
#pragma once

#include <functional>
#include <string>

#include <sys/types.h>

namespace settings::test {

/// A child that does something and ends: with 0, or with 1 where an expectation has failed or an exception
/// come. Waited for at the latest by its destructor.
class Child {
  public:
    explicit Child(const std::function<void()>& work);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { wait(); }

    pid_t id() const { return id_; }
    /// Its status, as waitpid(2) tells it.
    int wait();

  private:
    pid_t id_ = -1;
    int status_ = -1;
    bool isOver_ = false;
};

/// Fails unless the work ends with 0.
void inAnotherProcess(const std::function<void()>& work);

/// The same as a user without rights.
void asOrdinaryUser(const std::function<void()>& work);
/// Part of a child: it has no rights any more, or ends.
void becomeOrdinaryUser();

/// The numbers below `count`, each in a child of its own; all begin together.
void inChildrenAtOnce(int count, const std::function<void(int)>& work);

/// Kills itself when a line with `text` comes on the channel, at the n-th time; whether that came to pass.
bool isKilledAtLine(const std::string& channel, const std::string& text, const std::function<void()>& work,
                    int times = 1);

/// One test of this program, which is disabled otherwise, as a process of its own that finds the folder in
/// the variable FILE_WRITER_FOLDER. It prints nothing.
[[noreturn]] void becomeTest(const std::string& test, const std::string& folder);

} // namespace settings::test
