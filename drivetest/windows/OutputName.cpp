#include "drivetest/windows/OutputName.h"

#include <algorithm>
#include <string>

namespace drivetest {

namespace {

constexpr std::size_t kPrefix = 4;  // "\\.\" or "\\?\"

/// Names of devices consist of ASCII letters.
std::wstring upper(std::wstring_view text) {
    std::wstring letters(text);
    std::transform(letters.begin(), letters.end(), letters.begin(), [](wchar_t c) {
        return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
    });
    return letters;
}

bool isDriveLetter(std::wstring_view first) {
    return first.size() == 2 && first[0] >= L'A' && first[0] <= L'Z' && first[1] == L':';
}

bool isDrive(std::wstring_view first) {
    return isDriveLetter(first) || first.starts_with(L"VOLUME{") || first.starts_with(L"PHYSICALDRIVE") ||
           first.starts_with(L"HARDDISK") || first.starts_with(L"CDROM") || first.starts_with(L"FLOPPY") ||
           first.starts_with(L"TAPE") || first.starts_with(L"SCSI");
}

/// Of a name among the devices.
OutputName classifyDevice(std::wstring_view name) {
    const std::size_t end = std::min(name.find(L'\\'), name.size());
    const std::wstring_view first = name.substr(0, end);
    const std::wstring_view rest = name.substr(end);
    if ((isDriveLetter(first) || first.starts_with(L"VOLUME{") || first == L"UNC") && !rest.empty())
        return OutputName::file;
    if (first == L"PIPE" && rest.size() > 1)
        return OutputName::pipe;
    if (isDrive(first))
        return OutputName::drive;
    if (name == L"NUL")
        return OutputName::null;
    return name == L"CON" || name == L"CONOUT$" ? OutputName::console : OutputName::device;
}

}  // namespace

OutputName classifyOutput(std::wstring_view path) {
    if (!path.starts_with(L"\\\\.\\") && !path.starts_with(L"\\\\?\\"))
        return OutputName::file;
    return classifyDevice(upper(path.substr(kPrefix)));
}

}  // namespace drivetest
