#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/health/HeatCourse.h"
#include "drivetest/record/RecordedRun.h"
#include "drivetest/report/RunReporter.h"
#include "drivetest/statistics/DriveStatistics.h"
#include "libDrive2/DriveFingerprint.h"
#include "libDrive2/DriveIdentity.h"
#include "zel/Clock.h"

namespace drivetest {

/// A run that broke off, as far as its record proves it: what a run needs that goes on from there.
struct ResumedRun {
    RecordedRun run{};        ///< of the lines that are proven
    std::string lines{};      ///< these, each with its end
    std::string sha256{};     ///< of these
    std::size_t damaged = 0;  ///< the number of a line behind them that is damaged; 0 for none
    std::size_t events = 0;   ///< in them
    std::size_t logLines = 0;
    std::uint64_t sectorsDone = 0;
    std::uint32_t errorsDone = 0;
    EventCounts counts{};
    zel::Clock::Duration spent{0};
    unsigned slowMs = 0;
    std::uint64_t slowAllowed = 0;
    std::uint32_t maxTemperature = 0;  ///< degrees Celsius; 0 where none was given
    std::optional<HeatCourse> heat{};  ///< where the drive told
    libDrive2::DriveIdentity identity{};
    std::uint32_t transferSectors = 0;  ///< that the drive took best at once
    std::vector<std::string> properties{};
    std::optional<libDrive2::DriveFingerprint> fingerprint{};
    std::unique_ptr<DriveStatistics> statistics{};
};

}  // namespace drivetest
