#pragma once

#include <optional>

#include "zel/windows/Windows.h"

namespace drivetest {

/// Of the standard streams.
inline constexpr int kInput = 0;
inline constexpr int kOutput = 1;
inline constexpr int kErrors = 2;

/// The handle behind a descriptor of the C runtime library; INVALID_HANDLE_VALUE for none.
HANDLE handleOf(int descriptor);

/// What GetFileType() says of it. Of standard streams it is asked once: of a pipe that a thread is blocked on
/// the system does not answer.
DWORD fileTypeOf(int descriptor);
/// After a standard stream was led elsewhere.
void forgetFileType(int descriptor);

/// The file behind a handle of FILE_TYPE_DISK; nothing for a drive, whose handles are of that type too.
std::optional<FILE_STANDARD_INFO> fileBehind(HANDLE handle);

/// Whether a person sees or types what goes through it.
bool isConsole(int descriptor);

}  // namespace drivetest
