#pragma once

#include "drivetest/record/RecordWriter.h"
#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {

/// {requested, tested, failed, skipped}
Json coverageJson(const Coverage& coverage);

/// {sectorsPerCell, cells, outcomes, slowestUs, megabytesPerSecond}. The lists run over all cells as pairs
/// [value, how many cells in a row]; outcomes are 0 untested, 1 good, 2 failed; null is not measured.
Json surfaceJson(const SurfaceMap& surface, std::uint32_t sectorBytes);

/// Per kind of operation: {operation, count, p50Us, p90Us, p99Us, p999Us, longestUs, buckets: [[upToUs,
/// count]…]}
Json latencyJson(const std::map<libDrive2::DriveOperation, LatencyHistogram>& latencies);

}  // namespace drivetest
