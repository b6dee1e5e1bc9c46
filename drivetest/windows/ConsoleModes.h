#pragma once

#include "zel/windows/Windows.h"

namespace drivetest {

/// Lets the console behind a handle follow control sequences, until restoreConsoles(), or the end of the
/// program, makes it what it was. False where it cannot.
bool followSequences(HANDLE console);
void restoreConsoles();

}  // namespace drivetest
