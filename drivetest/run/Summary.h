#pragma once

#include "drivetest/run/RunHost.h"
#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// What a person reads at the end of a run: the verdict, what was covered, how fast, what was reported.
void printSummary(Console& console, const quix5::OfferedTest& test, const quix5::DiagDevice& device,
                  const quix5::TestResult& result, const RunHost& host);

}  // namespace drivetest
