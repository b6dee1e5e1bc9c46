#pragma once

#include <memory>
#include <string>

#include "drivetest/resume/ResumedRun.h"

namespace drivetest {

/// Reads all of a file that may be a record. False after half a sentence in `problem` when it is none that
/// can be read.
bool readRecordText(const std::string& path, std::string& text, std::string& problem);

/// Reads the record of a run that broke off. Null after a sentence in `problem` that says why it cannot be
/// gone on with: it is still being written, cannot be read, or see resumedOf().
std::unique_ptr<ResumedRun> readResumed(const std::string& path, std::string& problem);

}  // namespace drivetest
