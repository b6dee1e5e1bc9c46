#include <fcntl.h>
#include <io.h>

#include <chrono>
#include <thread>
#include <utility>

#include "drivetest/run/OutputFile.h"
#include "drivetest/windows/OutputName.h"
#include "drivetest/windows/StandardHandle.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"
#include "zel/windows/FileHandle.h"
#include "zel/windows/Handle.h"
#include "zel/windows/Utf16.h"

namespace drivetest {

namespace {

using zel::words;

constexpr DWORD kWriting = GENERIC_WRITE | FILE_READ_ATTRIBUTES;
/// How soon the reader of a pipe, and a stop request, are noticed.
constexpr std::chrono::milliseconds kReaderInterval{20};

zel::Handle openFile(const std::wstring& path, DWORD access, DWORD disposition, DWORD flags) {
    return zel::Handle(
        zel::SystemCalls::current().createFile(path, access, zel::kShareAll, disposition, flags));
}

/// To ask about it.
zel::Handle look(const std::wstring& path, DWORD flags = 0) {
    return openFile(path, FILE_READ_ATTRIBUTES, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | flags);
}

std::string lastError() {
    return zel::systemMessage(GetLastError()).utf8();
}

std::string checkName(OutputName name) {
    if (name == OutputName::drive)
        return words("it is a drive; name a file");
    return name == OutputName::device ? words("it is a device other than a terminal; name a file")
                                      : std::string();
}

/// Why the file that a name led to is not written to; empty when it is. Links can lead to anything.
std::string checkKind(HANDLE place) {
    if (zel::SystemCalls::current().getFileType(place) != FILE_TYPE_DISK)
        return checkName(OutputName::device);
    const auto file = fileBehind(place);
    if (!file)
        return checkName(OutputName::drive);
    return file->Directory != FALSE ? words("it is a folder; name a file in it") : std::string();
}

/// Why what the file holds must stay; empty when it may go.
std::string checkContents(HANDLE place, const std::string& path, const OutputRules& rules) {
    const std::string found = zel::pathOfHandle(place);
    if (const std::string why = rules.holdsData(found.empty() ? path : found); !why.empty())
        return words("{reason}; name another file", {{"reason", why}});
    const auto file = fileBehind(place);
    if ((!file || file->EndOfFile.QuadPart > 0) && !rules.force)
        return words("it holds something already; name a new file, or give --force to replace it");
    return {};
}

/// Takes the handle over; without a file when there is no descriptor left for it.
OutputFile adoptHandle(zel::Handle handle, const std::string& created) {
    constexpr int kBinary = _O_WRONLY | _O_BINARY | _O_NOINHERIT;
    const int descriptor =
        handle ? _open_osfhandle(reinterpret_cast<std::intptr_t>(handle.get()), kBinary) : -1;
    if (descriptor >= 0)
        handle.release();
    return OutputFile::adopt(descriptor, created);
}

/// Looks at a file that exists before it is opened for writing, and again at what was opened.
OutputFile openExisting(const std::wstring& full, const std::string& path, const OutputRules& rules,
                        std::string& problem) {
    const zel::Handle place = look(full);
    if (!place) {
        problem = GetLastError() == ERROR_FILE_NOT_FOUND
                      ? words("it is a link to a file that does not exist; name the file")
                      : lastError();
        return {};
    }
    problem = checkKind(place.get());
    if (problem.empty())
        problem = checkContents(place.get(), path, rules);
    if (!problem.empty())
        return {};
    zel::Handle opened = openFile(full, kWriting, OPEN_EXISTING, 0);
    if (!opened)
        problem = lastError();
    else if (!zel::isSameFile(place.get(), opened.get()))
        problem = words("another file has taken its name just now; try again");
    return problem.empty() ? adoptHandle(std::move(opened), {}) : OutputFile();
}

OutputFile openRegular(const std::wstring& full, const std::string& path, const OutputRules& rules,
                       std::string& problem) {
    zel::Handle created = openFile(full, kWriting, CREATE_NEW, FILE_ATTRIBUTE_NORMAL);
    if (created)
        return adoptHandle(std::move(created), path);
    const DWORD reason = GetLastError();
    // Of a folder the system only says that it must not be written to.
    if (reason == ERROR_FILE_EXISTS || reason == ERROR_ALREADY_EXISTS ||
        (reason == ERROR_ACCESS_DENIED && look(full)))
        return openExisting(full, path, rules, problem);
    problem = zel::systemMessage(reason).utf8();
    return {};
}

/// As long as its reader talks to others, a pipe is waited for.
OutputFile openPipe(const std::wstring& full, std::string& problem) {
    zel::Handle pipe;
    while (!(pipe = openFile(full, GENERIC_WRITE, OPEN_EXISTING, 0)) && GetLastError() == ERROR_PIPE_BUSY) {
        if (quix5::StopRequest::made()) {
            problem = words("the reader of the pipe had no time for it when the run was stopped");
            return {};
        }
        std::this_thread::sleep_for(kReaderInterval);
    }
    if (!pipe)
        problem = GetLastError() == ERROR_FILE_NOT_FOUND
                      ? words("there is no such pipe: start the program that reads from it first")
                      : lastError();
    return adoptHandle(std::move(pipe), {});
}

OutputFile openDevice(const wchar_t* name, DWORD access, std::string& problem) {
    zel::Handle device = openFile(name, access, OPEN_EXISTING, 0);
    if (!device)
        problem = lastError();
    return adoptHandle(std::move(device), {});
}

OutputFile open(const std::string& path, const OutputRules& rules, std::string& problem) {
    const std::wstring full = zel::longPath(path);
    const OutputName name = classifyOutput(full);
    problem = checkName(name);
    if (!problem.empty())
        return {};
    if (name == OutputName::null)
        return openDevice(L"NUL", GENERIC_WRITE, problem);
    if (name == OutputName::console)
        return openDevice(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, problem);
    return name == OutputName::pipe ? openPipe(full, problem) : openRegular(full, path, rules, problem);
}

/// What is printed as well would get in between.
bool isPrintedTo(const OutputFile& file) {
    return fileTypeOf(file.descriptor()) != FILE_TYPE_CHAR &&
           (isSameOutput(file, OutputFile::borrow(kOutput)) ||
            isSameOutput(file, OutputFile::borrow(kErrors)));
}

}  // namespace

OutputFile openOutput(const std::string& what, const std::string& path, const OutputRules& rules,
                      std::string& error) {
    if (path == "-")
        return OutputFile::borrow(kOutput);
    std::string problem;
    OutputFile file = open(path, rules, problem);
    if (file && isPrintedTo(file)) {
        problem = words("what is printed goes there too; name another file, or - for the record alone");
        file = {};
    } else if (!file && problem.empty())
        problem = words("too many files are open");
    if (!problem.empty())
        error = words("{what} cannot be written to {file}: {reason}",
                      {{"what", what}, {"file", path}, {"reason", problem}});
    return file;
}

}  // namespace drivetest
