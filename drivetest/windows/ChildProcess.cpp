#include "drivetest/run/ChildProcess.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "drivetest/windows/CommandWords.h"
#include "quix5/StopRequest.h"
#include "zel/Path.h"

namespace drivetest {

namespace {

/// How often it is asked whether the child has to end.
constexpr DWORD kSliceMs = 20;

/// Both ends of a pipe, which close with it. One end is the child's and is handed on to it.
class Pipe {
public:
    enum End : std::size_t { reading, writing };

    explicit Pipe(End ofChild) {
        SECURITY_ATTRIBUTES handedOn{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        m_isOpen = CreatePipe(&m_ends[reading], &m_ends[writing], &handedOn, 0) != 0 &&
                   SetHandleInformation(m_ends.at(ofChild == reading ? writing : reading),
                                        HANDLE_FLAG_INHERIT, 0) != 0;
    }
    ~Pipe() {
        close(reading);
        close(writing);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    [[nodiscard]] HANDLE end(End which) const { return m_ends.at(which); }
    void close(End which) {
        if (m_ends.at(which) != nullptr)
            CloseHandle(m_ends.at(which));
        m_ends.at(which) = nullptr;
    }

private:
    std::array<HANDLE, 2> m_ends{};
    bool m_isOpen;
};

struct Pipes {
    Pipe input{Pipe::reading};
    Pipe output{Pipe::writing};
    Pipe errors{Pipe::writing};
};

std::wstring wide(const std::string& text) {
    if (text.empty())
        return {};
    const int size = static_cast<int>(text.size());
    std::wstring result(
        static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), static_cast<int>(result.size()));
    return result;
}

/// The environment that the child gets: texts that end with a zero, and a zero behind the last.
std::wstring environmentWith(const std::string& temporaryFolder) {
    std::wstring environment;
    wchar_t* const own = GetEnvironmentStringsW();
    for (const wchar_t* entry = own; entry != nullptr && *entry != L'\0';) {
        const std::wstring_view text = entry;
        if (!text.starts_with(L"TMP=") && !text.starts_with(L"TEMP="))
            environment.append(text).push_back(L'\0');
        entry += text.size() + 1;
    }
    FreeEnvironmentStringsW(own);
    for (const wchar_t* const name : {L"TEMP=", L"TMP="})
        environment.append(name + wide(temporaryFolder)).push_back(L'\0');
    return environment;
}

/// The child with all that it starts, which ends with it.
class Child {
public:
    Child() : m_job(CreateJobObjectW(nullptr, nullptr)) {
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(m_job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    }
    ~Child() {
        for (const HANDLE handle : {m_process, m_job})
            if (handle != nullptr)
                CloseHandle(handle);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] bool start(const std::string& path, const std::vector<std::string>& arguments,
                             const Pipes& pipes, const ChildOptions& options);
    /// Waits at most that long.
    [[nodiscard]] bool hasEnded(DWORD waitMs) const {
        return WaitForSingleObject(m_process, waitMs) == WAIT_OBJECT_0;
    }
    void end() const {
        TerminateJobObject(m_job, 1);
        TerminateProcess(m_process, 1);
        WaitForSingleObject(m_process, INFINITE);
    }
    [[nodiscard]] int status() const {
        DWORD status = 0;
        return GetExitCodeProcess(m_process, &status) != 0 ? static_cast<int>(status) : -1;
    }

private:
    HANDLE m_job;
    HANDLE m_process = nullptr;
};

bool Child::start(const std::string& path, const std::vector<std::string>& arguments, const Pipes& pipes,
                  const ChildOptions& options) {
    const std::wstring program = zel::pathOf(path).wstring();
    std::wstring line = quotedWord(program);
    for (const std::string& argument : arguments)
        line += L" " + quotedWord(wide(argument));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = pipes.input.end(Pipe::reading);
    startup.hStdOutput = pipes.output.end(Pipe::writing);
    startup.hStdError = pipes.errors.end(Pipe::writing);
    PROCESS_INFORMATION process{};
    std::wstring environment;
    if (!options.temporaryFolder.empty())
        environment = environmentWith(options.temporaryFolder);
    if (CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                       CREATE_SUSPENDED | CREATE_UNICODE_ENVIRONMENT,
                       environment.empty() ? nullptr : environment.data(), nullptr, &startup, &process) == 0)
        return false;
    // Before it can start anything.
    AssignProcessToJobObject(m_job, process.hProcess);
    ResumeThread(process.hThread);
    CloseHandle(process.hThread);
    m_process = process.hProcess;
    return true;
}

void takeAll(HANDLE pipe, std::size_t mostBytes, std::string& text) {
    std::array<char, 4096> block{};
    DWORD got = 0;
    while (ReadFile(pipe, block.data(), static_cast<DWORD>(block.size()), &got, nullptr) != 0 && got > 0)
        text.append(block.data(), std::min<std::size_t>(got, mostBytes - text.size()));
}

void giveAll(Pipe& pipe, std::string_view rest) {
    DWORD gone = 0;
    while (!rest.empty() && WriteFile(pipe.end(Pipe::writing), rest.data(), static_cast<DWORD>(rest.size()),
                                      &gone, nullptr) != 0)
        rest.remove_prefix(gone);
    pipe.close(Pipe::writing);
}

/// Until the child has ended, or has to. Gives why it has to, or byItself.
ChildResult::End follow(const Child& child, std::chrono::milliseconds longest) {
    const auto deadline = std::chrono::steady_clock::now() + longest;
    while (!child.hasEnded(kSliceMs)) {
        if (quix5::StopRequest::made())
            return ChildResult::End::stopRequest;
        if (std::chrono::steady_clock::now() >= deadline)
            return ChildResult::End::tooLate;
    }
    return ChildResult::End::byItself;
}

}  // namespace

ChildResult runChild(const std::string& path, const std::vector<std::string>& arguments,
                     const ChildOptions& options) {
    ChildResult result;
    if (quix5::StopRequest::made()) {
        result.end = ChildResult::End::stopRequest;
        return result;
    }
    Pipes pipes;
    Child child;
    if (!pipes.input.isOpen() || !pipes.output.isOpen() || !pipes.errors.isOpen() ||
        !child.start(path, arguments, pipes, options)) {
        result.errors = std::system_category().message(static_cast<int>(GetLastError()));
        return result;
    }
    pipes.input.close(Pipe::reading);
    pipes.output.close(Pipe::writing);
    pipes.errors.close(Pipe::writing);
    // A program may fill one pipe while it waits for another.
    std::thread giver([&pipes, &options] { giveAll(pipes.input, options.input); });
    const auto take = [most = options.mostBytes](const Pipe& pipe, std::string& text) {
        takeAll(pipe.end(Pipe::reading), most, text);
    };
    std::thread output([&] { take(pipes.output, result.output); });
    std::thread errors([&] { take(pipes.errors, result.errors); });
    result.end = follow(child, options.longest);
    if (result.end == ChildResult::End::byItself)
        result.status = child.status();
    child.end();  // and what it has started, which may hold the pipes
    giver.join();
    output.join();
    errors.join();
    return result;
}

std::vector<std::string> programFolders() {
    std::vector<std::string> folders;
    const wchar_t* const path = _wgetenv(L"PATH");
    std::wstring_view rest = path != nullptr ? path : L"";
    while (!rest.empty()) {
        const std::wstring_view folder = rest.substr(0, rest.find(L';'));
        if (!folder.empty())
            folders.push_back(zel::textOf(std::filesystem::path(folder)));
        rest.remove_prefix(folder.size() + (folder.size() < rest.size() ? 1 : 0));
    }
    // What is installed with the system, or by its user, is seldom in the path.
    for (const auto& [variable, below] : {std::pair(L"SystemRoot", "System32/OpenSSH"),
                                          std::pair(L"ProgramFiles(x86)", "Microsoft/Edge/Application"),
                                          std::pair(L"ProgramFiles", "Microsoft/Edge/Application"),
                                          std::pair(L"ProgramFiles", "Google/Chrome/Application")})
        if (const wchar_t* const folder = _wgetenv(variable); folder != nullptr)
            folders.push_back(zel::textOf(std::filesystem::path(folder) / below));
    return folders;
}

std::string_view programSuffix() {
    return ".exe";
}

}  // namespace drivetest
