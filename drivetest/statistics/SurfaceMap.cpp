#include "drivetest/statistics/SurfaceMap.h"

#include <algorithm>

#include "drivetest/statistics/LogScale.h"

namespace drivetest {

namespace {

using Scale = LogScale<2>;
static_assert(Scale::kSteps <= 256, "a step is kept in a byte");

}  // namespace

SurfaceMap::SurfaceMap(std::uint64_t sectors) : m_grid(sectors, kMostCells), m_cells(m_grid.size()) {}

std::chrono::nanoseconds SurfaceMap::upTo(std::uint8_t slowest) {
    return std::chrono::nanoseconds(Scale::upperBound(slowest));
}

/// Gives this value to the cells of these sectors that have a lesser one. Without branches: what a cell far
/// away holds is not known in time to guess one.
template <class Value>
void SurfaceMap::raise(Value Cell::*part, std::uint64_t lba, std::uint64_t count, Value value) {
    const std::uint64_t first = m_grid.partOf(lba);
    if (first >= m_cells.size() || count == 0)
        return;
    const std::uint64_t last = std::min<std::uint64_t>(m_grid.partOf(lba + count - 1), m_cells.size() - 1);
    const Cell* const end = m_cells.data() + last + 1;
    for (Cell* cell = m_cells.data() + first; cell != end; ++cell)
        cell->*part = std::max(cell->*part, value);
}

void SurfaceMap::addOutcome(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome) {
    raise(&Cell::outcome, lba, count, outcome);
}

void SurfaceMap::addTransfer(std::uint64_t lba, std::uint32_t count, std::chrono::nanoseconds duration) {
    if (duration.count() > 0)
        raise(&Cell::slowest, lba, count,
              static_cast<std::uint8_t>(Scale::stepOf(static_cast<std::uint64_t>(duration.count()))));
}

}  // namespace drivetest
