#pragma once

#include <string>
#include <vector>

#include "drivetest/record/RecordWriter.h"
#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {

/// {unit, requested, tested, failed, skipped}; the unit is "sectors" or "positions"
Json coverageJson(const Coverage& coverage);

/// {sectorsPerCell, cells, outcomes, slowestUs, cellsPerValue}. The lists run over all cells as pairs [value,
/// how many cells in a row]; outcomes are 0 untested, 1 good, 2 failed, 3 recovered; null is not measured.
/// A list has at most kMostRuns pairs: in one that would have more, blocks of cells, their size in
/// cellsPerValue, have their worst value.
struct SurfaceJson {
    Json content;
    std::vector<std::string> lists{};  ///< for RecordWriter::writeStep()
};
SurfaceJson surfaceJson(const SurfaceMap& surface);
inline constexpr std::size_t kMostRuns = 65536;

/// {sectorsPerRegion, regions, read, written}: of each direction in which anything was moved the lists
/// {bytes, us} over all regions.
Json regionsJson(const RateProfile& rates, std::uint32_t sectorBytes);

/// {fault, words, ranges: [[first, last]…]}: a part for each fault and the drive's words for it, and more
/// where there are many ranges; empty for a drive without bad sectors.
std::vector<Json> badSectorsJson(const BadSectors& bad);

/// {over150ms, over500ms, slowest: [{operation, sector, lastSector, durationUs}…]}
Json slowTransfersJson(const SlowTransfers& slow);

/// Per kind of operation: {operation, firstTry, recovered, failed}
Json transfersJson(const DriveStatistics& statistics);

/// Per kind of operation: {operation, count, p50Us, p90Us, p99Us, p999Us, longestUs, buckets: [[upToUs,
/// count]…]}
Json latencyJson(const DriveStatistics& statistics);

}  // namespace drivetest
