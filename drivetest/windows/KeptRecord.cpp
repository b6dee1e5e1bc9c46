#include "drivetest/record/KeptRecord.h"

#include <fcntl.h>
#include <io.h>

#include "libDrive2/windows/Account.h"
#include "libDrive2/windows/GuardedFolder.h"
#include "zel/Path.h"
#include "zel/Words.h"
#include "zel/windows/SystemCalls.h"

namespace drivetest {

namespace {

using libDrive2::GuardedFile;
using libDrive2::GuardedFolder;
using Readers = GuardedFolder::Readers;

/// Of one second.
constexpr int kMostAlike = 100;

/// Several runs of one second get numbers.
GuardedFile createNew(const GuardedFolder& folder, const std::string& name, std::string& file) {
    GuardedFile made;
    for (int number = 1; number <= kMostAlike && !made.file; ++number) {
        file = name + (number == 1 ? "" : "-" + std::to_string(number)) + ".jsonl";
        if (!zel::pathExists(folder.pathOf(file)))
            made = folder.createFile(file, Readers::all);
    }
    return made;
}

/// Through a handle that lets others read the file, and this run delete it.
int openDescriptor(const zel::Handle& file) {
    zel::Handle again(
        zel::SystemCalls::current().reopenFile(file.get(), GENERIC_READ | GENERIC_WRITE, zel::kShareAll, 0));
    const int descriptor =
        again ? _open_osfhandle(reinterpret_cast<std::intptr_t>(again.get()), _O_BINARY) : -1;
    if (descriptor >= 0)
        again.release();
    return descriptor;
}

}  // namespace

KeptRecord createKeptRecord(const std::string& path, const std::string& name, std::string& problem) {
    // Those of the machine are for all to read.
    const Readers readers = libDrive2::Account::current().isAdministrator ? Readers::all : Readers::owner;
    zel::String reason;
    if (!GuardedFolder::make(path, GuardedFolder::Writers::owner, readers, reason)) {
        problem = reason.utf8();
        return {};
    }
    const auto folder = GuardedFolder::open(path, GuardedFolder::Writers::owner, reason);
    if (!folder) {
        problem = reason.utf8();
        return {};
    }
    std::string file;
    GuardedFile made = createNew(*folder, name, file);
    const int descriptor = made.file ? openDescriptor(made.file) : -1;
    if (descriptor >= 0) {
        const std::string full = folder->pathOf(file);
        return {OutputFile::adopt(descriptor, full), full};
    }
    problem = made.problem.utf8();
    if (made.file) {
        const DWORD error = GetLastError();
        libDrive2::failWith(reason, zel::words("{file} cannot be opened", {{"file", folder->pathOf(file)}}),
                            error);
        problem = reason.utf8();
        folder->remove(file, made.file, reason);
    }
    return {};
}

}  // namespace drivetest
