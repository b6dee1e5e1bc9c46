#pragma once

#include "zel/windows/Windows.h"

namespace drivetest {

/// The handle behind a descriptor of the C runtime library; INVALID_HANDLE_VALUE for none.
HANDLE handleOf(int descriptor);

/// What GetFileType() says of it. Of standard streams it is asked once: of a pipe that a thread is blocked on
/// the system does not answer.
DWORD fileTypeOf(int descriptor);
/// After a standard stream was led elsewhere.
void forgetFileType(int descriptor);

/// Whether a person sees or types what goes through it.
bool isConsole(int descriptor);

}  // namespace drivetest
