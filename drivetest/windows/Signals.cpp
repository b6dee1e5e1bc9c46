#include "drivetest/run/Signals.h"

#include <atomic>
#include <string_view>

#include "drivetest/run/LastWords.h"
#include "drivetest/windows/ConsoleModes.h"
#include "drivetest/windows/ControlEvents.h"
#include "drivetest/windows/StandardHandle.h"
#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

/// What a reader that takes nothing holds the end up by.
constexpr DWORD kLastWordsMs = 200;

std::atomic<AtStake> atStake{AtStake::nothing};
std::atomic<int> statusOn{-1};
std::atomic<void (*)()> lastDeed{nullptr};

struct Saying {
    int descriptor;
    std::string_view text;
};

DWORD WINAPI writeSaying(void* saying) {
    const auto& [descriptor, text] = *static_cast<const Saying*>(saying);
    DWORD written = 0;
    WriteFile(GetStdHandle(descriptor == kOutput ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE), text.data(),
              static_cast<DWORD>(text.size()), &written, nullptr);
    return 0;
}

/// The thread may outlive the call.
void say(Saying& saying) {
    const HANDLE thread = CreateThread(nullptr, 0, &writeSaying, &saying, 0, nullptr);
    if (thread != nullptr)
        WaitForSingleObject(thread, kLastWordsMs);
}

/// Without what the end of a process usually waits for.
void endAtOnce() {
    const LastWords last = lastWordsOf(atStake.load());
    if (void (*const deed)() = lastDeed.load(); deed != nullptr)
        deed();
    Saying status{statusOn.load(), kTakeStatusOff};
    Saying words{kErrors, last.text};
    if (status.descriptor >= 0)
        say(status);
    restoreConsoles();
    say(words);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(last.status));
}

}  // namespace

BOOL WINAPI onControlEvent(DWORD event) {
    switch (event) {
        case CTRL_C_EVENT:
        case CTRL_BREAK_EVENT:
            if (quix5::StopRequest::insist() >= kInsistencesToEnd)
                endAtOnce();
            return TRUE;
        case CTRL_CLOSE_EVENT:
        case CTRL_LOGOFF_EVENT:
        case CTRL_SHUTDOWN_EVENT:
            quix5::StopRequest::make();
            Sleep(INFINITE);
            return TRUE;
        default:
            return FALSE;
    }
}

/// Such writes fail by themselves. Nor does the system ask for a disk that is not there in a window.
void letWritesFail() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
}

/// A process whose parent ignores Ctrl-C is not told of it at all.
void stopOnSignals() {
    SetConsoleCtrlHandler(&onControlEvent, TRUE);
}

bool takeProgressRequest() {
    return false;
}

void setAtStake(AtStake stake) {
    atStake.store(stake);
}

void setLastDeed(void (*deed)()) {
    lastDeed.store(deed);
}

void setStatusOn(int descriptor) {
    statusOn.store(descriptor);
}

/// The system tells of them on a thread that it makes for it.
void leaveSignalsToOthers() {}

/// Each has a thread of its own.
void LateSignals::look() {}

}  // namespace drivetest
