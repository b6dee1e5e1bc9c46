#include "zel/Path.h"

#include <cstring>

#include "zel/windows/FileHandle.h"
#include "zel/windows/Handle.h"
#include "zel/windows/Utf16.h"

namespace zel {

namespace fs = std::filesystem;

namespace {

/// The system takes longer ones only with a prefix; MAX_PATH, less what it keeps for names in a folder.
constexpr std::size_t kLongestPlain = 240;
constexpr std::wstring_view kLong = L"\\\\?\\";
constexpr std::wstring_view kLongShare = L"\\\\?\\UNC\\";

bool startsWithDrive(std::wstring_view path) {
    return path.size() >= 3 && path[1] == L':' && path[2] == L'\\';
}

/// As people write it.
std::wstring_view withoutPrefix(std::wstring_view path, std::wstring& share) {
    if (path.starts_with(kLongShare))
        return share = L"\\\\" + std::wstring(path.substr(kLongShare.size()));
    return path.starts_with(kLong) && startsWithDrive(path.substr(kLong.size())) ? path.substr(kLong.size())
                                                                                 : path;
}

std::string textOf(std::wstring_view path) {
    std::wstring share;
    return fromWide(withoutPrefix(path, share));
}

/// To ask about it, which touches neither contents nor devices.
Handle openToAsk(std::string_view path) {
    return Handle(SystemCalls::current().createFile(longPath(path), 0, kShareAll, OPEN_EXISTING,
                                                    FILE_FLAG_BACKUP_SEMANTICS));
}

std::wstring finalPath(HANDLE file, DWORD form) {
    std::wstring path(MAX_PATH, L'\0');
    DWORD units = 0;
    while ((units = SystemCalls::current().getFinalPath(file, path.data(), static_cast<DWORD>(path.size()),
                                                        form | VOLUME_NAME_DOS)) >= path.size())
        path.resize(units + 1);
    path.resize(units);
    return path;
}

}  // namespace

/// What has no folder is a name, and may be meant for any.
fs::path pathOf(std::string_view text) {
    std::wstring wide = toWide(text);
    const bool isShort = wide.size() < kLongestPlain || wide.find_first_of(L"/\\") == std::wstring::npos;
    return isShort ? fs::path(std::move(wide)) : fs::path(longPath(text));
}

std::string textOf(const fs::path& path) {
    return textOf(std::wstring_view(path.native()));
}

/// The standard library does not know shares.
bool isAbsolute(std::string_view path) {
    constexpr std::string_view kSeparators = "/\\";
    const bool isShare = path.size() > 2 && path.find_first_not_of(kSeparators) == 2;
    return isShare || pathOf(path).is_absolute();
}

bool pathExists(std::string_view path) {
    return static_cast<bool>(openToAsk(path)) || GetLastError() == ERROR_ACCESS_DENIED ||
           GetLastError() == ERROR_SHARING_VIOLATION;
}

bool isRegularFile(std::string_view path) {
    const DWORD attributes = SystemCalls::current().getFileAttributes(longPath(path));
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) == 0;
}

bool isSameFile(std::string_view a, std::string_view b) {
    const Handle first = openToAsk(a);
    const Handle second = openToAsk(b);
    return first && second && isSameFile(first.get(), second.get());
}

bool isSameFile(HANDLE a, HANDLE b) {
    SystemCalls& calls = SystemCalls::current();
    FILE_ID_INFO first{};
    FILE_ID_INFO second{};
    if (calls.getFileInformationEx(a, FileIdInfo, &first, sizeof first) != FALSE &&
        calls.getFileInformationEx(b, FileIdInfo, &second, sizeof second) != FALSE)
        return first.VolumeSerialNumber == second.VolumeSerialNumber &&
               std::memcmp(&first.FileId, &second.FileId, sizeof first.FileId) == 0;
    BY_HANDLE_FILE_INFORMATION older{};
    BY_HANDLE_FILE_INFORMATION other{};
    return calls.getFileInformation(a, &older) != FALSE && calls.getFileInformation(b, &other) != FALSE &&
           older.dwVolumeSerialNumber == other.dwVolumeSerialNumber &&
           older.nFileIndexHigh == other.nFileIndexHigh && older.nFileIndexLow == other.nFileIndexLow;
}

std::string pathOfHandle(HANDLE file) {
    const std::wstring path = finalPath(file, FILE_NAME_NORMALIZED);
    // Shares can refuse to have all folders of a path looked up, but know by which it was opened.
    return textOf(std::wstring_view(path.empty() ? finalPath(file, FILE_NAME_OPENED) : path));
}

std::string canonicalPath(std::string_view path) {
    const Handle file = openToAsk(path);
    if (!file)
        return {};
    const std::string found = pathOfHandle(file.get());
    // Some file systems do not tell it, and some systems no long one.
    return found.empty() ? textOf(std::wstring_view(longPath(path))) : found;
}

std::string canonicalBeginning(std::string_view path) {
    fs::path existing = pathOf(path);
    fs::path rest;
    std::string found;
    while ((found = canonicalPath(textOf(existing))).empty() && existing.has_relative_path()) {
        rest = rest.empty() ? existing.filename() : existing.filename() / rest;
        existing = existing.parent_path();
    }
    if (found.empty())
        return std::string(path);
    return rest.empty() ? found : textOf(pathOf(found) / rest);
}

}  // namespace zel
