#include "drivetest/windows/StandardHandle.h"

#include <io.h>

#include <array>
#include <atomic>
#include <bit>

#include "zel/windows/SystemCalls.h"

namespace drivetest {

namespace {

constexpr DWORD kNotAsked = ~DWORD{0};
std::array<std::atomic<DWORD>, 3> standardTypes{kNotAsked, kNotAsked, kNotAsked};

bool isStandard(int descriptor) {
    return descriptor >= 0 && static_cast<std::size_t>(descriptor) < standardTypes.size();
}

DWORD askFileType(int descriptor) {
    const HANDLE handle = handleOf(descriptor);
    return handle == INVALID_HANDLE_VALUE ? FILE_TYPE_UNKNOWN
                                          : zel::SystemCalls::current().getFileType(handle);
}

}  // namespace

HANDLE handleOf(int descriptor) {
    constexpr std::intptr_t kNoStream =
        -2;  // what the library says of a standard stream that was never there
    const std::intptr_t handle = descriptor < 0 ? -1 : _get_osfhandle(descriptor);
    return handle == kNoStream ? INVALID_HANDLE_VALUE : std::bit_cast<HANDLE>(handle);
}

DWORD fileTypeOf(int descriptor) {
    if (!isStandard(descriptor))
        return askFileType(descriptor);
    auto& known = standardTypes.at(static_cast<std::size_t>(descriptor));
    if (known == kNotAsked)
        known = askFileType(descriptor);
    return known;
}

void forgetFileType(int descriptor) {
    if (isStandard(descriptor))
        standardTypes.at(static_cast<std::size_t>(descriptor)) = kNotAsked;
}

std::optional<FILE_STANDARD_INFO> fileBehind(HANDLE handle) {
    FILE_STANDARD_INFO found{};
    if (zel::SystemCalls::current().getFileInformationEx(handle, FileStandardInfo, &found, sizeof found) ==
        FALSE)
        return std::nullopt;
    return found;
}

bool isConsole(int descriptor) {
    DWORD mode = 0;
    return fileTypeOf(descriptor) == FILE_TYPE_CHAR && GetConsoleMode(handleOf(descriptor), &mode) != FALSE;
}

}  // namespace drivetest
