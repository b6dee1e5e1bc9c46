#pragma once

#include "drivetest/ExitStatus.h"
#include "drivetest/resume/ResumedRun.h"

namespace drivetest {

struct TakenDrive;

/// Whether the drive in hand is the one of the run that broke off, and holds what it held then. Else the exit
/// status, after a sentence that says what is different.
ExitStatus checkResumed(const ResumedRun& resumed, const TakenDrive& drive);

}  // namespace drivetest
