#pragma once

#include <string>

#include "drivetest/record/RecordedRun.h"
#include "zel/Words.h"

namespace drivetest {

/// What a run says of its drive, for somebody who wants to buy it.
struct Verdict {
    enum class Kind {
        sound,    ///< nothing was found
        doubted,  ///< nothing is broken, but something is not as it should be, or a part was not tested
        faulty,
        open,  ///< the run says nothing
    };
    Kind kind;
    std::string sentence;

    static Verdict of(const RecordedRun& run);
};

/// Why a run gives no verdict that a certificate or a grade could rest on, as a part of a sentence; empty
/// when it gives one. That a drive has failed is no reason.
zel::Wording obstacleToVerdict(const RecordedRun& run);

/// How a drive was reached, for people; empty where the record does not tell.
std::string methodText(const std::string& method);

/// How much of what was to be tested was tested, what failed included: "100 %"
std::string coverageShare(const RecordedCoverage& coverage);

/// It pretends to be larger than it is.
bool isCapacityFalse(const RecordedRun& run);

/// Whether each sector of the drive was tested.
bool isWholeDrive(const RecordedRun& run);

}  // namespace drivetest
