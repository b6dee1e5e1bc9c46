#include "drivetest/run/Signals.h"

#include <atomic>
#include <string_view>

#include "drivetest/run/LastWords.h"
#include "drivetest/windows/ConsoleModes.h"
#include "drivetest/windows/ControlEvents.h"
#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

/// What a reader that takes nothing holds the end up by.
constexpr DWORD kLastWordsMs = 200;

std::atomic<AtStake> atStake{AtStake::nothing};

DWORD WINAPI sayLastWords(void* words) {
    const std::string_view text = static_cast<const LastWords*>(words)->text;
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written,
              nullptr);
    return 0;
}

/// Without what the end of a process usually waits for.
void endAtOnce() {
    LastWords last = lastWordsOf(atStake.load());
    restoreConsoles();
    const HANDLE thread = CreateThread(nullptr, 0, &sayLastWords, &last, 0, nullptr);
    if (thread != nullptr)
        WaitForSingleObject(thread, kLastWordsMs);
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

/// The system tells of them on a thread that it makes for it.
void leaveSignalsToOthers() {}

}  // namespace drivetest
