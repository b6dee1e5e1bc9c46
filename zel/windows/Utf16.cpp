#include "zel/windows/Utf16.h"

#include "zel/Format.h"
#include "zel/windows/Windows.h"

namespace zel {

namespace {

constexpr DWORD kMostMessageUnits = 1024;

bool isDevicePath(std::wstring_view path) {
    return path.starts_with(L"\\\\.\\") || path.starts_with(L"\\\\?\\");
}

std::wstring absolute(const std::wstring& path) {
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    full.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
    return full;
}

}  // namespace

std::wstring toWide(std::string_view utf8) {
    const auto convert = [utf8](wchar_t* to, int room) {
        return MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), to, room);
    };
    std::wstring wide(static_cast<std::size_t>(convert(nullptr, 0)), L'\0');
    convert(wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string fromWide(std::wstring_view wide) {
    const auto convert = [wide](char* to, int room) {
        return WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), to, room, nullptr,
                                   nullptr);
    };
    std::string utf8(static_cast<std::size_t>(convert(nullptr, 0)), '\0');
    convert(utf8.data(), static_cast<int>(utf8.size()));
    return utf8;
}

String systemMessage(unsigned long error) {
    wchar_t text[kMostMessageUnits];
    DWORD units = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                                 0, text, kMostMessageUnits, nullptr);
    while (units > 0 && (text[units - 1] <= L' ' || text[units - 1] == L'.'))
        --units;
    return units == 0 ? format("error %u", static_cast<std::uint64_t>(error))
                      : String(fromWide(std::wstring_view(text, units)));
}

std::wstring longPath(std::string_view path) {
    std::wstring wide = toWide(path);
    if (isDevicePath(wide))
        return wide;
    const std::wstring full = absolute(wide);
    if (full.empty() || isDevicePath(full))  // such as "NUL", which is "\\.\NUL"
        return full.empty() ? wide : full;
    return full.starts_with(L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

}  // namespace zel
