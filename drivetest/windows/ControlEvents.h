#pragma once

#include "zel/windows/Windows.h"

namespace drivetest {

/// What the system calls, on a thread of its own, when a person or itself wants the program to end. When the
/// console or the session goes, it does not return: the system would end the process, and waits some seconds
/// for it to end by itself, in which the test puts back what it overwrote.
BOOL WINAPI onControlEvent(DWORD event);

}  // namespace drivetest
