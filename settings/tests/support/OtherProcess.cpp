#include "support/OtherProcess.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <system_error>

#include <sys/wait.h>
#include <unistd.h>

namespace settings::test {

namespace {

std::array<int, 2> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    return ends;
}

void writeLine(int to, std::string text) {
    for (char& character : text)
        character = character == '\n' ? ' ' : character;
    text += '\n';
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(to, text.data() + done, text.size() - done);
        if (written < 0)
            return; // whoever reads finds the end
        done += static_cast<std::size_t>(written);
    }
}

bool readLine(int from, std::string& line) {
    line.clear();
    for (char character = 0; ::read(from, &character, 1) == 1;) {
        if (character == '\n')
            return true;
        line += character;
    }
    return false;
}

std::string outcomeOf(const OtherProcess::Step& step) {
    try {
        return step();
    } catch (const std::exception& failure) {
        return std::string("!") + failure.what();
    }
}

} // namespace

OtherProcess::OtherProcess(const std::function<void()>& start, const Steps& steps) : maker_(::getpid()) {
    const auto commands = makePipe();
    const auto replies = makePipe();
    std::fflush(nullptr);
    process_ = ::fork();
    if (process_ == 0) {
        ::close(commands[1]);
        ::close(replies[0]);
        commands_ = commands[0];
        replies_ = replies[1];
        work(start, steps);
    }
    ::close(commands[0]);
    ::close(replies[1]);
    commands_ = commands[1];
    replies_ = replies[0];
    ::signal(SIGPIPE, SIG_IGN);
}

void OtherProcess::work(const std::function<void()>& start, const Steps& steps) const {
    ::signal(SIGPIPE, SIG_IGN);
    writeLine(replies_, outcomeOf([&] {
                  start();
                  return std::string();
              }));
    for (std::string line; test::readLine(commands_, line);) {
        const auto step = steps.find(line);
        writeLine(replies_, step == steps.end() ? "!there is no step " + line : outcomeOf(step->second));
    }
    std::fflush(nullptr);
    ::_exit(0);
}

OtherProcess::~OtherProcess() {
    ::close(commands_);
    ::close(replies_);
    if (::getpid() != maker_) // a copy, in another child of the maker
        return;
    kill();
    ::waitpid(process_, nullptr, 0);
}

std::string OtherProcess::readLine() {
    std::string line;
    return test::readLine(replies_, line) ? line : "(gone)";
}

std::string OtherProcess::started() {
    return readLine();
}

void OtherProcess::begin(const std::string& step) const {
    writeLine(commands_, step);
}

std::string OtherProcess::run(const std::string& step) {
    begin(step);
    return readLine();
}

void OtherProcess::kill() {
    ::kill(process_, SIGKILL);
}

void OtherProcess::stop() const {
    ::kill(process_, SIGSTOP);
}

void OtherProcess::goOn() const {
    ::kill(process_, SIGCONT);
}

} // namespace settings::test
