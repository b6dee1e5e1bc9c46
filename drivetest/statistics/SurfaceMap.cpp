#include "drivetest/statistics/SurfaceMap.h"

#include <algorithm>

namespace drivetest {

namespace {

constexpr std::uint64_t kMaxCells = 16384;

}  // namespace

SurfaceMap::SurfaceMap(std::uint64_t sectors)
    : m_sectorsPerCell(std::max<std::uint64_t>(1, sectors / kMaxCells + (sectors % kMaxCells != 0 ? 1 : 0))),
      m_cells(sectors / m_sectorsPerCell + (sectors % m_sectorsPerCell != 0 ? 1 : 0)) {}

template <class Visit>
void SurfaceMap::visit(std::uint64_t lba, std::uint64_t count, Visit visitCell) {
    for (const std::uint64_t end = lba + count; lba < end;) {
        const std::uint64_t index = lba / m_sectorsPerCell;
        if (index >= m_cells.size())
            return;
        const std::uint64_t part = std::min(end, (index + 1) * m_sectorsPerCell) - lba;
        visitCell(m_cells[index], part);
        lba += part;
    }
}

void SurfaceMap::addOutcome(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome) {
    visit(lba, count,
          [outcome](Cell& cell, std::uint64_t) { cell.outcome = std::max(cell.outcome, outcome); });
}

void SurfaceMap::addTransfer(std::uint64_t lba, std::uint32_t count, std::chrono::nanoseconds duration,
                             bool hasFailed) {
    const double secondsPerSector = std::chrono::duration<double>(duration).count() / count;
    visit(lba, count, [&](Cell& cell, std::uint64_t sectors) {
        cell.slowest = std::max(cell.slowest, duration);
        if (hasFailed)
            return;
        cell.sectors += static_cast<double>(sectors);
        cell.seconds += secondsPerSector * static_cast<double>(sectors);
    });
}

}  // namespace drivetest
