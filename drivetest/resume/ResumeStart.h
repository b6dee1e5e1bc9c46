#pragma once

#include <string>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// Fills in what the record of `options.resume` says: the test, its parameters, and the drive, wherever it is
/// attached now. False after a sentence in `error` that says why that run cannot be gone on with.
bool takeUp(RunOptions& options, std::string& error);

}  // namespace drivetest
