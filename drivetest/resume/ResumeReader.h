#pragma once

#include <memory>
#include <string>

#include "drivetest/resume/ResumedRun.h"

namespace drivetest {

/// Reads the record of a run that broke off. Null after a sentence in `problem` that says why it cannot be
/// gone on with: it came to its end, is still being written, proves no progress, is damaged, or is of another
/// version of the program.
std::unique_ptr<ResumedRun> readResumed(const std::string& path, std::string& problem);

}  // namespace drivetest
