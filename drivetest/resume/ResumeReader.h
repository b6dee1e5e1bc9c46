#pragma once

#include <memory>
#include <string>

#include "drivetest/resume/ResumedRun.h"

namespace drivetest {

/// The run of a record that broke off, from its text. Null after a sentence in `problem` that says why it
/// cannot be gone on with: it has a verdict, proves no progress, is damaged, or is of another version of the
/// program. `path` is for that.
std::unique_ptr<ResumedRun> resumedOf(const std::string& path, std::string text, std::string& problem);

}  // namespace drivetest
