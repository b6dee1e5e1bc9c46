#pragma once

#include <string>

#include "drivetest/shelf/RunOutcome.h"

namespace drivetest {

/// Takes what the record of a run that is over tells of it, and makes its report where there is none yet. A
/// record that was never begun is removed: it is none.
void readRecorded(RunOutcome& outcome);

/// Says something beside what is said already.
void say(RunOutcome& outcome, const std::string& text);

}  // namespace drivetest
