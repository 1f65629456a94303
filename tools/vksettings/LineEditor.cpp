#include "LineEditor.hpp"

#include "Printable.hpp"

#include <histedit.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <langinfo.h>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vksettings {

namespace {

constexpr const char* promptText = "vksettings> ";
constexpr wchar_t dropKey = L'\003';

/// Texts of the tool are UTF-8, whatever the language of the user.
void useUtf8() {
    if (std::setlocale(LC_CTYPE, "") == nullptr || std::strcmp(::nl_langinfo(CODESET), "UTF-8") != 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
}

unsigned columns() {
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
}

/// Of UTF-8 on the terminal.
std::size_t widthOf(std::string_view text) {
    std::size_t width = 0;
    std::mbstate_t state{};
    while (!text.empty()) {
        wchar_t character = 0;
        const std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
        if (length == 0 || length > text.size())
            break;
        width += static_cast<std::size_t>(std::max(::wcwidth(character), 0));
        text.remove_prefix(length);
    }
    return width;
}

} // namespace

struct LineEditor::State {
    State(SessionSignals& of, Completer with)
        : signals(of), completer(std::move(with)), history(CommandHistory::usualFile()),
          wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd") {
        useUtf8();
        editor = ::el_init("vksettings", stdin, stdout, stderr);
        entries = ::history_init();
        if (editor == nullptr || entries == nullptr)
            throw std::runtime_error("the terminal cannot be used for editing");
        HistEvent event{};
        ::history(entries, &event, H_SETSIZE, static_cast<int>(CommandHistory::maxLines));
        ::history(entries, &event, H_SETUNIQUE, 1);
        for (const std::string& line : history.lines())
            ::history(entries, &event, H_ENTER, line.c_str());
        ::el_set(editor, EL_CLIENTDATA, this);
        ::el_set(editor, EL_EDITOR, "emacs");
        ::el_set(editor, EL_PROMPT, &prompt);
        ::el_set(editor, EL_HIST, &::history, entries);
        ::el_set(editor, EL_GETCFN, &read);
        ::el_set(editor, EL_SIGNAL, 1); // resized, stopped and continued
        ::el_source(editor, nullptr);   // the user's own keys
        ::el_set(editor, EL_ADDFN, "vksettings-complete", "Complete the word", &complete);
        ::el_set(editor, EL_ADDFN, "vksettings-drop", "Drop the line", &drop);
        ::el_set(editor, EL_BIND, "^I", "vksettings-complete", nullptr);
        ::el_set(editor, EL_BIND, "^C", "vksettings-drop", nullptr);
    }
    ~State() {
        if (editor != nullptr)
            ::el_end(editor);
        if (entries != nullptr)
            ::history_end(entries);
    }

    static State& of(EditLine* editor) {
        void* state = nullptr;
        ::el_get(editor, EL_CLIENTDATA, &state);
        return *static_cast<State*>(state);
    }
    static char* prompt(EditLine*) { return const_cast<char*>(promptText); }

    /// One character, once there is one. Meanwhile signals and lines from other threads are looked after.
    static int read(EditLine* editor, wchar_t* character) {
        State& self = of(editor);
        while (true) {
            self.showWaiting();
            if (self.signals.isEnding())
                return 0;
            if (self.signals.takeInterrupts()) {
                *character = dropKey;
                return 1;
            }
            if (const int count = self.decode(*character); count != 0)
                return count;
            std::array<pollfd, 3> waits{{{STDIN_FILENO, POLLIN, 0},
                                         {self.signals.descriptor(), POLLIN, 0},
                                         {self.wake.get(), POLLIN, 0}}};
            if (::poll(waits.data(), waits.size(), -1) < 0 || waits[0].revents == 0)
                continue;
            if (!self.fetch())
                return 0;
        }
    }
    /// 0 when the bytes that have come make no character yet.
    int decode(wchar_t& character) {
        while (!bytes.empty()) {
            std::mbstate_t state{};
            const std::size_t length = std::mbrtowc(&character, bytes.data(), bytes.size(), &state);
            if (length == static_cast<std::size_t>(-2))
                return 0;
            const bool isBroken = length == static_cast<std::size_t>(-1);
            bytes.erase(0, isBroken ? 1 : std::max<std::size_t>(length, 1));
            if (!isBroken)
                return 1;
        }
        return 0;
    }
    bool fetch() {
        std::array<char, 256> buffer{};
        const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (count <= 0)
            return count < 0 && (errno == EINTR || errno == EAGAIN);
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
        return true;
    }

    static unsigned char complete(EditLine* editor, int) {
        State& self = of(editor);
        const LineInfo* line = ::el_line(editor);
        const Completion found =
            self.completer({line->buffer, static_cast<std::size_t>(line->cursor - line->buffer)});
        if (!found.insert.empty()) {
            ::el_insertstr(editor, found.insert.c_str());
            return CC_REFRESH;
        }
        if (found.choices.empty())
            return CC_REFRESH_BEEP;
        self.show(inColumns(found.choices));
        return CC_REFRESH;
    }
    static std::string inColumns(const std::vector<std::string>& choices) {
        std::size_t width = 0;
        for (const std::string& choice : choices)
            width = std::max(width, widthOf(printable(choice)) + 2);
        const std::size_t perLine = std::max<std::size_t>(columns() / width, 1);
        std::string text;
        for (std::size_t i = 0; i < choices.size(); ++i) {
            const std::string shown = printable(choices[i]);
            text += shown;
            if (i + 1 == choices.size() || (i + 1) % perLine == 0)
                text += '\n';
            else
                text.append(width - widthOf(shown), ' ');
        }
        return text;
    }
    static unsigned char drop(EditLine* editor, int) {
        State& self = of(editor);
        self.isDropped = true;
        std::fputs("^C", stdout);
        return CC_NEWLINE;
    }

    /// Puts whole lines in the place of the one that is being typed, which appears again below.
    void show(const std::string& text) {
        const LineInfo* line = ::el_line(editor);
        const std::size_t before =
            widthOf(promptText) +
            widthOf({line->buffer, static_cast<std::size_t>(line->cursor - line->buffer)});
        if (const std::size_t rows = before / columns(); rows != 0)
            std::printf("\x1b[%zuA", rows);
        std::printf("\r\x1b[J%s", text.c_str());
        std::fflush(stdout);
        ::el_set(editor, EL_REFRESH);
    }
    void showWaiting() {
        std::string text = takeWaiting();
        if (!text.empty())
            show(text);
    }
    std::string takeWaiting() {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto got = ::read(wake.get(), &count, sizeof count);
        const std::lock_guard lock(mutex);
        return std::exchange(waiting, {});
    }

    SessionSignals& signals;
    const Completer completer;
    const CommandHistory history;
    EditLine* editor = nullptr;
    ::History* entries = nullptr;
    std::string bytes; // typed, not yet taken
    bool isDropped = false;
    const Descriptor wake;
    std::mutex mutex;
    std::string waiting; // lines from other threads; guarded by mutex
};

LineEditor::LineEditor(SessionSignals& signals, Completer completer)
    : state_(std::make_unique<State>(signals, std::move(completer))) {}
LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::next() {
    State& state = *state_;
    std::fputs(state.takeWaiting().c_str(), stdout);
    std::fflush(stdout);
    state.isDropped = false;
    state.signals.takeInterrupts();          // meant for what has just ended
    ::el_set(state.editor, EL_PREP_TERM, 1); // before the prompt, so that nothing appears twice
    int count = 0;
    const char* typed = ::el_gets(state.editor, &count);
    if (state.isDropped || typed == nullptr || count <= 0) {
        std::fputs("\n", stdout);
        return state.isDropped ? std::optional<std::string>(std::in_place) : std::nullopt;
    }
    std::string line(typed);
    while (!line.empty() && line.back() == '\n')
        line.pop_back();
    if (CommandHistory::isKept(line)) {
        HistEvent event{};
        ::history(state.entries, &event, H_ENTER, line.c_str());
        state.history.append(line);
    }
    return line;
}

void LineEditor::printAbove(std::string line) {
    State& state = *state_;
    {
        const std::lock_guard lock(state.mutex);
        state.waiting.append(line).append("\n");
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(state.wake.get(), &one, sizeof one);
}

} // namespace vksettings
