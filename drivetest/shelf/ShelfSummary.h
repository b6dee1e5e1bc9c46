#pragma once

#include <string>
#include <vector>

#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/terminal/Console.h"

namespace drivetest {

/// Where what was written lies.
struct ShelfPlaces {
    std::string folder;
    std::string overview;  ///< empty for none
};

/// Says what became of all drives. Gives the exit status of the worst.
int summarize(const std::vector<ShelfDrive>& drives, const ShelfPlaces& places, Console& console);

/// "5 PASS, 1 FAIL, 1 crashed", each drive by its worst run, the worst first.
std::string resultCounts(const std::vector<ShelfDrive>& drives);

/// Of the runs of a drive the one that its result comes from: the worst, of these the first.
const RunOutcome& worstRun(const ShelfDrive& drive);

/// Rates as they are told of a run: "150.2 MB/s", of both directions where there are two; empty for none.
std::string ratesText(const RunOutcome& outcome);

}  // namespace drivetest
