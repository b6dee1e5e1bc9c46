#pragma once

#include "drivetest/commands/RunOptions.h"
#include "drivetest/run/PreparedRun.h"
#include "drivetest/run/RunHost.h"
#include "drivetest/terminal/Console.h"
#include "quix5/TestResult.h"

namespace drivetest {

/// After the test: settles the journal, closes the record, writes the list of bad sectors, and prints the
/// summary. `result` is the test's; what the program knows beside it may make it worse. Gives the exit
/// status.
int endRun(const RunOptions& options, PreparedRun& run, const quix5::TestResult& result, const RunHost& host,
           Console& console);

}  // namespace drivetest
