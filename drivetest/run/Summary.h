#pragma once

#include "drivetest/run/RunHost.h"
#include "quix5/DiagDevice.h"
#include "quix5/Module.h"

namespace drivetest {

/// What the summary tells beside what the host has seen.
struct SummaryFacts {
    quix5::TestResult result{};
    bool isDataMissing = false;   ///< sectors were not put back
    std::string allBadSectors{};  ///< the file that lists them all; empty for none
};

/// What a person reads at the end of a run: the verdict, what was covered, what is bad or slow, how fast,
/// what was reported.
void printSummary(Console& console, const quix5::OfferedTest& test, const quix5::DiagDevice& device,
                  const SummaryFacts& facts, const RunHost& host);

}  // namespace drivetest
