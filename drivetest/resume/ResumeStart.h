#pragma once

#include <string>

#include "drivetest/commands/RunOptions.h"

namespace drivetest {

/// Fills in what the record of `options.resume` says: the test, its parameters, and the drive, wherever it is
/// attached now. False after a sentence in `error` that says why that run cannot be gone on with.
bool takeUp(RunOptions& options, std::string& error);

/// The record of a run that goes on lies beside the one before: "run-2.jsonl", "run-3.jsonl".
std::string nextRecord(const std::string& record);

}  // namespace drivetest
