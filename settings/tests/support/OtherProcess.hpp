/// A second process of a test, which starts the library itself and then does what the test asks for.
///
/// To be made while the test's own process has one thread.
#pragma once

#include "support/Children.hpp"

#include <functional>
#include <map>
#include <string>

#include <sys/types.h>

namespace settings::test {

class OtherProcess {
  public:
    /// One thing that the process can do; what it returns is handed to the test.
    using Step = std::function<std::string()>;
    using Steps = std::map<std::string, Step>;

    /// `start` comes first.
    OtherProcess(const std::function<void()>& start, const Steps& steps);
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;
    ~OtherProcess();

    /// Waits until the process has started; what went wrong there, or "".
    std::string started();
    /// Has the step done, and waits; its result, "!" and the text of what it raised, or "(gone)".
    std::string run(const std::string& step);
    /// The same in two parts, with other things in between.
    void begin(const std::string& step) const;
    std::string result() { return readLine(); }
    /// Ends it without a chance to clean up.
    void kill();
    void stop() const;
    void goOn() const;

  private:
    [[noreturn]] void work(const std::function<void()>& start, const Steps& steps) const;
    std::string readLine();

    pid_t process_ = -1;
    pid_t maker_ = -1;
    int commands_ = -1;
    int replies_ = -1;
};

} // namespace settings::test
