#pragma once

#include <string>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/run/PreparedRun.h"
#include "drivetest/terminal/Console.h"

namespace drivetest {

/// Opens the files that the user named. False after a sentence in `error`.
bool openOutputs(const RunOptions& options, PreparedRun& run, std::string& error);
/// Nothing refuses the run any more: what the files held is gone from here on, and the reporters are made. A
/// record that nobody named a file for goes to the folder for records.
void startOutputs(const RunOptions& options, PreparedRun& run, Console& console);

}  // namespace drivetest
