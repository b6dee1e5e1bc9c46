#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/statistics/LiveCounts.h"
#include "drivetest/terminal/ProgressMeter.h"
#include "drivetest/terminal/StatusRows.h"

namespace drivetest {

/// What the display shows of a run besides time.
struct ProgressSnapshot {
    Advance advance;
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
    std::optional<std::uint64_t> position;  ///< the sector of the last transfer
    std::vector<LiveOutcome> surface;
    std::string activity;                       ///< what the test says it is doing; may be empty
    std::chrono::nanoseconds spentBefore{0};    ///< by a run that this one goes on from
    std::string stopping;                       ///< since a stop was asked for: what is waited for
    bool isResting = false;                     ///< until the drive is cooler
    std::optional<std::int64_t> temperature{};  ///< degrees Celsius, where the drive tells
};

struct Progress {
    const std::string& title;  ///< the test and its drive
    const ProgressSnapshot& now;
    const ProgressMeter& meter;
    std::chrono::nanoseconds elapsed;
};

/// For a terminal of so many columns. First what matters, in as many rows as it takes: the stop, percent,
/// time left, errors, rates, position. Then, where there is room, warnings, elapsed time and activity, the
/// names last; on a wide terminal also the surface as a strip that fills.
StatusRows progressRows(const Progress& progress, std::size_t width);

/// The same as one line of text.
std::string progressLine(const Progress& progress);

}  // namespace drivetest
