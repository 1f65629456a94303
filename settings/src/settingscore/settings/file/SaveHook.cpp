#include "settingscore/settings/file/SaveHook.hpp"

#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace settings::core::detail {

namespace {

struct HookState {
    std::recursive_mutex mutex; // rank "save hook"
    std::shared_ptr<const SaveHook> hook;
};

HookState& state() {
    static HookState* const only = new HookState; // threads may still save while the process ends
    return *only;
}

thread_local int depth = 0; // of the lock, in this thread

struct Replacing {
    Replacing() { ++depth; }
    Replacing(const Replacing&) = delete;
    Replacing& operator=(const Replacing&) = delete;
    ~Replacing() { --depth; }

    const std::lock_guard<std::recursive_mutex> lock{state().mutex};
};

std::mutex routeMutex;
std::optional<bool> throughHook;

} // namespace

SaveHook setSaveHook(SaveHook hook) {
    const std::lock_guard lock(state().mutex);
    auto next = hook ? std::make_shared<const SaveHook>(std::move(hook)) : nullptr;
    const auto before = std::exchange(state().hook, std::move(next));
    return before == nullptr ? SaveHook() : *before;
}

void callSaveHook(SettingsFileAccess& access) {
    const Replacing replacing;
    const auto hook = state().hook; // a hook that replaces itself goes on running
    if (hook != nullptr)
        (*hook)(access, access.filePath());
    else
        access.writeTo(access.filePath());
}

void whileNoOtherSaveReplacesFiles(const std::function<void()>& work) {
    const Replacing replacing;
    work();
}

bool isReplacingFiles() noexcept {
    return depth > 0;
}

bool savesGoThroughHook() {
    const std::lock_guard lock(routeMutex);
    if (!throughHook) {
        const char* folder = std::getenv("SETTINGS_USERDIR");
        throughHook = folder == nullptr || *folder == '\0';
    }
    return *throughHook;
}

bool defaultHookWrites() {
    if (!savesGoThroughHook())
        return false;
    const std::lock_guard lock(state().mutex);
    return state().hook == nullptr;
}

void forgetSaveRoute() {
    const std::lock_guard lock(routeMutex);
    throughHook.reset();
}

} // namespace settings::core::detail
