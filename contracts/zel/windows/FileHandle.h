#pragma once

#include <string>

#include "zel/Export.h"
#include "zel/windows/Windows.h"

namespace zel {

/// Whether both handles are of one file, by whatever names they were opened: volume and file id tell.
DRIVETEST_API bool isSameFile(HANDLE a, HANDLE b);

/// The path of an open file, absolute and without links; empty when the system tells none, as of pipes.
DRIVETEST_API std::string pathOfHandle(HANDLE file);

}  // namespace zel
