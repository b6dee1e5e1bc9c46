#include "drivetest/shelf/RunProcess.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <thread>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/run/Signals.h"
#include "drivetest/shelf/ShelfWork.h"
#include "drivetest/windows/CommandWords.h"
#include "zel/Format.h"
#include "zel/Words.h"
#include "zel/windows/Handle.h"
#include "zel/windows/Utf16.h"

namespace drivetest {

namespace {

/// Pipes without names cannot be waited for.
constexpr std::chrono::milliseconds kSlice{20};
/// Exit statuses that are errors of the system (NTSTATUS), such as STATUS_ACCESS_VIOLATION.
constexpr DWORD kFirstFault = 0xC0000000;
/// What destroy() ends a process with, and the system's task manager, too.
constexpr DWORD kDestroyed = 1;

/// The jobs of those that run, for an end at once; null for none.
std::array<std::atomic<HANDLE>, kMostJobs> running{};

void destroyAll() {
    for (const auto& job : running)
        if (const HANDLE handle = job.load(); handle != nullptr)
            TerminateJobObject(handle, kDestroyed);
}

struct Streams {
    HANDLE nothing;
    HANDLE log;
    HANDLE pipe;
};

std::wstring programFile() {
    std::wstring file(MAX_PATH, L'\0');
    DWORD units = 0;
    while ((units = GetModuleFileNameW(nullptr, file.data(), static_cast<DWORD>(file.size()))) == file.size())
        file.resize(file.size() * 2);
    file.resize(units);
    return file;
}

/// In a group of its own: Ctrl-C is for the program that the person has started, and that hands it on. In a
/// job of its own: what it has started ends with it. The job does not end it when this process is gone: it
/// notices that by itself, and puts back what it has overwritten.
bool spawn(const std::vector<std::string>& words, const Streams& streams, HANDLE job,
           PROCESS_INFORMATION& process) {
    const std::wstring program = programFile();
    std::wstring line = quotedWord(program);
    for (const std::string& word : words)
        line += L" " + quotedWord(zel::toWide(word));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = streams.nothing;
    startup.hStdOutput = streams.log;
    startup.hStdError = streams.log;
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                       CREATE_NEW_PROCESS_GROUP | CREATE_SUSPENDED, nullptr, nullptr, &startup,
                       &process) == FALSE)
        return false;
    if (AssignProcessToJobObject(job, process.hProcess) == FALSE ||
        ResumeThread(process.hThread) == static_cast<DWORD>(-1)) {
        const DWORD failure = GetLastError();
        TerminateProcess(process.hProcess, kDestroyed);
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
        SetLastError(failure);
        return false;
    }
    CloseHandle(process.hThread);
    return true;
}

class Process : public RunProcess {
public:
    Process(const PROCESS_INFORMATION& started, zel::Handle job, zel::Handle pipe, std::atomic<HANDLE>& entry)
        : m_process(started.hProcess),
          m_job(std::move(job)),
          m_number(started.dwProcessId),
          m_pipe(std::move(pipe)),
          m_entry(entry) {
        m_entry.store(m_job.get());
    }
    ~Process() override { m_entry.store(nullptr); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] long long number() const override { return m_number; }
    [[nodiscard]] bool hasNews() const {
        DWORD waiting = 0;
        return WaitForSingleObject(m_process.get(), 0) == WAIT_OBJECT_0 ||
               (PeekNamedPipe(m_pipe.get(), nullptr, 0, nullptr, &waiting, nullptr) != FALSE && waiting > 0);
    }

    std::string take() override {
        std::string text;
        std::array<char, 16384> block{};
        DWORD waiting = 0;
        DWORD got = 0;
        while (text.size() < kMostTaken &&
               PeekNamedPipe(m_pipe.get(), nullptr, 0, nullptr, &waiting, nullptr) != FALSE && waiting > 0 &&
               ReadFile(m_pipe.get(), block.data(), std::min(waiting, static_cast<DWORD>(block.size())), &got,
                        nullptr) != FALSE)
            text.append(block.data(), got);
        return text;
    }

    /// Nothing that is to be told is known on Windows.
    bool tell(std::string_view /*line*/) override { return false; }

    std::optional<ProcessEnd> ended() override {
        DWORD status = 0;
        if (m_end || WaitForSingleObject(m_process.get(), 0) != WAIT_OBJECT_0 ||
            GetExitCodeProcess(m_process.get(), &status) == FALSE)
            return m_end;
        m_entry.store(nullptr);
        TerminateJobObject(m_job.get(), kDestroyed);  // what it has started
        m_end.emplace();
        if (m_isStopped && status == STATUS_CONTROL_C_EXIT)  // the request came before it listened
            status = kExitUserAborted;
        m_end->isFault = status >= kFirstFault;
        m_end->isExit = !m_end->isFault && !m_isDestroyed;
        m_end->status = static_cast<int>(status);
        m_end->cause = zel::format("0x%08x", static_cast<unsigned>(status)).utf8();
        return m_end;
    }

    /// Without a console, the end of the pipe is what tells it to stop.
    void push(Push push) override {
        if (m_end)
            return;
        if (push == Push::destroy) {
            m_isDestroyed = TerminateJobObject(m_job.get(), kDestroyed) != FALSE;
            return;
        }
        m_isStopped = true;
        if (GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, m_number) == FALSE)
            (void)m_pipe.reset();
    }

private:
    static constexpr std::size_t kMostTaken = std::size_t{1} << 20;

    zel::Handle m_process;
    zel::Handle m_job;
    DWORD m_number;
    zel::Handle m_pipe;
    std::atomic<HANDLE>& m_entry;
    bool m_isStopped = false;
    bool m_isDestroyed = false;
    std::optional<ProcessEnd> m_end;
};

std::string lastError() {
    return zel::systemMessage(GetLastError()).utf8();
}

/// Of files that the process is to have.
zel::Handle openFor(const std::wstring& path, DWORD access, DWORD disposition) {
    SECURITY_ATTRIBUTES handedOn{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return zel::Handle(CreateFileW(path.c_str(), access,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &handedOn,
                                   disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace

std::unique_ptr<RunProcess> RunProcess::start(std::vector<std::string> arguments, const std::string& log,
                                              std::string& error, bool& /*isCrowded*/) {
    setLastDeed(&destroyAll);
    const zel::Handle logFile = openFor(zel::longPath(log), FILE_APPEND_DATA | SYNCHRONIZE, CREATE_NEW);
    if (!logFile) {
        error = zel::words("{file} could not be made: {reason}", {{"file", log}, {"reason", lastError()}});
        return nullptr;
    }
    const zel::Handle nothing = openFor(L"NUL", GENERIC_READ, OPEN_EXISTING);
    SECURITY_ATTRIBUTES handedOn{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE ends[2]{};
    const auto entry = std::ranges::find_if(running, [](const auto& each) { return each.load() == nullptr; });
    PROCESS_INFORMATION started{};
    zel::Handle job(CreateJobObjectW(nullptr, nullptr));
    if (nothing && job && entry != running.end() && CreatePipe(&ends[0], &ends[1], &handedOn, 0) != FALSE) {
        zel::Handle reading(ends[0]);
        const zel::Handle writing(ends[1]);
        SetHandleInformation(reading.get(), HANDLE_FLAG_INHERIT, 0);
        const auto number = static_cast<long long>(reinterpret_cast<std::intptr_t>(writing.get()));
        arguments.insert(arguments.begin() + 1, "--progress-to=" + std::to_string(number));
        if (spawn(arguments, {nothing.get(), logFile.get(), writing.get()}, job.get(), started))
            return std::make_unique<Process>(started, std::move(job), std::move(reading), *entry);
    }
    error = zel::words("a process for the test could not be started: {reason}", {{"reason", lastError()}});
    return nullptr;
}

void RunProcess::waitForAny(const std::vector<RunProcess*>& processes, std::chrono::milliseconds longest) {
    const auto end = std::chrono::steady_clock::now() + longest;
    const auto hasNews = [](RunProcess* each) { return static_cast<Process*>(each)->hasNews(); };
    while (std::ranges::none_of(processes, hasNews) && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(kSlice);
}

}  // namespace drivetest
