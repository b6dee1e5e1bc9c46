#include "drivetest/windows/ConsoleModes.h"

#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

namespace drivetest {

namespace {

constexpr DWORD kNeeded = ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING;

/// What was changed. Never destroyed: the end of the program asks for it.
struct ChangedConsoles {
    std::mutex mutex;
    std::vector<std::pair<HANDLE, DWORD>> modes;

    static ChangedConsoles& get() {
        static ChangedConsoles& consoles = *new ChangedConsoles;
        return consoles;
    }
};

}  // namespace

bool followSequences(HANDLE console) {
    DWORD mode = 0;
    if (GetConsoleMode(console, &mode) == FALSE)
        return false;
    if ((mode & kNeeded) == kNeeded)
        return true;
    ChangedConsoles& changed = ChangedConsoles::get();
    const std::lock_guard lock(changed.mutex);
    if (SetConsoleMode(console, mode | kNeeded) == FALSE)
        return false;
    if (changed.modes.empty())
        std::atexit(&restoreConsoles);
    changed.modes.emplace_back(console, mode);
    return true;
}

void restoreConsoles() {
    ChangedConsoles& changed = ChangedConsoles::get();
    const std::lock_guard lock(changed.mutex);
    for (const auto& [console, mode] : changed.modes)
        SetConsoleMode(console, mode);
    changed.modes.clear();
}

}  // namespace drivetest
