#include "drivetest/safety/JournalPlace.h"

#include <shlobj.h>

#include <cstdlib>

#include "drivetest/windows/MachineFolder.h"
#include "libDrive2/windows/Account.h"
#include "zel/Path.h"
#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace drivetest {

namespace {

constexpr const char* kName = "\\DriveTest";

/// The variables of the environment that name these folders are anybody's to set.
std::string knownFolder(int number, const char* otherwise) {
    wchar_t path[MAX_PATH];
    return zel::SystemCalls::current().getKnownFolder(number, path) == S_OK ? zel::fromWide(path) : otherwise;
}

std::string stateFolder() {
    const wchar_t* const state = _wgetenv(L"DRIVETEST_STATE");
    const std::string named = state != nullptr ? zel::fromWide(state) : std::string();
    return zel::isAbsolute(named) ? named : machineFolder();
}

/// The administrators' is the machine's.
std::string userFolder() {
    if (libDrive2::Account::current().isAdministrator)
        return stateFolder();
    return knownFolder(CSIDL_LOCAL_APPDATA, ".") + kName;
}

}  // namespace

std::string machineFolder() {
    return knownFolder(CSIDL_COMMON_APPDATA, "C:\\ProgramData") + kName;
}

/// Where cmd.exe would take it apart. No name of a file holds a quotation mark here.
std::string shellWord(const std::string& text) {
    if (!text.empty() && text.find_first_of(" \t&|<>^();") == std::string::npos)
        return text;
    // What ends with a backslash would take the mark that closes the word for a part of it.
    return "\"" + text + (text.ends_with('\\') ? "\\\"" : "\"");
}

std::string defaultRegisterFolder() {
    return stateFolder() + "\\open";
}

std::string defaultJournalFolder() {
    return userFolder() + "\\journal";
}

std::string defaultRecordFolder() {
    return userFolder() + "\\records";
}

}  // namespace drivetest
