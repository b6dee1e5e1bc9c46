#include "drivetest/settings/SettingsFile.h"

#include <shlobj.h>

#include "drivetest/terminal/Texts.h"
#include "drivetest/windows/MachineFolder.h"
#include "libDrive2/windows/GuardedFolder.h"
#include "zel/Path.h"
#include "zel/Words.h"
#include "zel/windows/SystemCalls.h"
#include "zel/windows/Utf16.h"

namespace drivetest {

namespace {

using libDrive2::GuardedFile;
using libDrive2::GuardedFolder;

constexpr const char* kName = "\\drivetest.toml";
/// One byte more than any is read.
constexpr DWORD kMost = DWORD{256} << 10;

std::string leftOut(const std::string& path, const std::string& reason) {
    return zel::words("{file} is left out: {reason}", {{"file", printable(path)}, {"reason", reason}});
}

}  // namespace

std::string personsSettingsFile() {
    wchar_t path[MAX_PATH];
    return zel::SystemCalls::current().getKnownFolder(CSIDL_APPDATA, path) == S_OK
               ? zel::fromWide(path) + kName
               : std::string();
}

/// In the product's own folder: anybody may put a file beside it.
std::string machineSettingsFile() {
    return machineFolder() + kName;
}

std::optional<std::string> readSettingsFile(const std::string& path, std::string& refusal) {
    if (!zel::pathExists(path))
        return {};
    zel::String reason;
    const auto place = zel::pathOf(path);
    const auto folder =
        GuardedFolder::open(zel::textOf(place.parent_path()), GuardedFolder::Writers::owner, reason);
    if (!folder) {
        refusal = leftOut(path, reason.utf8());
        return {};
    }
    const GuardedFile file =
        folder->openFile(zel::textOf(place.filename()), GENERIC_READ, GuardedFolder::Owner::user);
    std::string text(kMost + 1, '\0');
    DWORD bytes = 0;
    if (!file.file || zel::SystemCalls::current().readFile(file.file.get(), text.data(), kMost + 1, &bytes,
                                                           nullptr) == FALSE) {
        refusal = leftOut(path, (file.file ? zel::systemMessage(GetLastError()) : file.problem).utf8());
        return {};
    }
    text.resize(bytes);
    return text;
}

}  // namespace drivetest
