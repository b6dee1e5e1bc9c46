#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "drivetest/statistics/BadSectors.h"
#include "drivetest/statistics/LatencyHistogram.h"
#include "drivetest/statistics/RateProfile.h"
#include "drivetest/statistics/SectorRuns.h"
#include "drivetest/statistics/SlowTransfers.h"
#include "drivetest/statistics/SurfaceMap.h"
#include "libDrive2/DriveObserver.h"
#include "zel/Clock.h"

namespace drivetest {

inline constexpr std::array kOperations{libDrive2::DriveOperation::read, libDrive2::DriveOperation::write,
                                        libDrive2::DriveOperation::seek, libDrive2::DriveOperation::flush,
                                        libDrive2::DriveOperation::other};

/// What one direction of transfers moved.
struct TransferTotals {
    std::uint64_t bytes = 0;
    zel::Clock::Duration elapsed{0};  ///< in these transfers, not between them

    /// MB/s with 1 MB = 1,048,576 bytes; nothing when no time passed.
    [[nodiscard]] std::optional<double> megabytesPerSecond() const;
};

/// What became of one kind of operations, and how long they took.
struct OperationStatistics {
    std::uint64_t firstTry = 0;
    std::uint64_t recovered = 0;  ///< succeeded with further tries, or by a correction that the drive tells
    std::uint64_t failed = 0;
    LatencyHistogram latency;  ///< of those that were timed
};

/// The statistics of a run between two chunks. What is large and only grows is told as what has changed since
/// the state before; all states of a run, one after the other, give its statistics again, to the bit.
struct StatisticsState {
    struct Bad {
        std::uint64_t first;
        std::uint64_t count;
        std::size_t cause;  ///< index into all causes of the run
    };

    // What has changed.
    std::vector<SectorRuns::Run> good{};
    std::vector<BadSectors::Cause> newCauses{};
    std::vector<Bad> bad{};
    std::vector<SurfaceMap::Part> surface{};
    std::vector<RateProfile::Changed> regions{};
    // All that there is.
    std::uint64_t visited = 0;
    TransferTotals reads{}, writes{};
    std::array<OperationStatistics, kOperations.size()> operations{};
    SlowTransfers::State slow{};
};

}  // namespace drivetest
