#include "drivetest/report/RescueReporters.h"

#include <algorithm>

#include "drivetest/rescue/RescueMap.h"

namespace drivetest {

namespace {

constexpr std::uint64_t kBlockBytes = 1024;  ///< of badblocks, where it is not told otherwise

}  // namespace

std::string RescueMapReporter::text(const RunSummary& summary) const {
    RescueMap map;
    if (summary.statistics != nullptr)
        map = makeRescueMap(summary.statistics->goodSectors(), summary.statistics->badSectors().ranges(),
                            drive().sectors, drive().sectorBytes);
    return map.text(title());
}

std::string BadBlocksReporter::text(const RunSummary& summary) const {
    std::string lines;
    if (summary.statistics == nullptr)
        return lines;
    std::uint64_t next = 0;  // several sectors may share a block
    for (const libDrive2::SectorSpan& span : summary.statistics->badSectors().ranges()) {
        const std::uint64_t first = span.lba * drive().sectorBytes / kBlockBytes;
        const std::uint64_t last = ((span.lba + span.count) * drive().sectorBytes - 1) / kBlockBytes;
        for (std::uint64_t block = std::max(first, next); block <= last; ++block)
            lines += std::to_string(block) + "\n";
        next = last + 1;
    }
    return lines;
}

}  // namespace drivetest
