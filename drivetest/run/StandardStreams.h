#pragma once

#include <string>

#include "drivetest/run/DataGuard.h"

namespace drivetest {

/// Opens /dev/null for each standard stream that is closed: the next file to be opened, such as a drive,
/// would take its place and get what is printed. To be called before anything is opened. False when that
/// failed.
[[nodiscard]] bool openClosedStreams();

/// Whether what is printed may go where standard output and standard error lead: to no drive, and to no file
/// that holds data. One that must not be written to is led to the other, or to /dev/null; `error` then says
/// why.
[[nodiscard]] bool checkStandardStreams(const DataGuard& holdsData, std::string& error);

}  // namespace drivetest
