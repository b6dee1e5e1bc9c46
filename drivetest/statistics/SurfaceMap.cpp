#include "drivetest/statistics/SurfaceMap.h"

#include <algorithm>
#include <cstddef>

#include "drivetest/statistics/LogScale.h"

namespace drivetest {

namespace {

using Scale = LogScale<2>;
static_assert(Scale::kSteps <= 256, "a step is kept in a byte");

/// In blocks of a fixed length, which compilers turn into a few instructions.
template <class Value>
void raise(Value* cell, const Value* end, Value value) {
    constexpr std::ptrdiff_t kBlock = 32;
    for (; end - cell >= kBlock; cell += kBlock)
        for (std::ptrdiff_t i = 0; i < kBlock; ++i)
            cell[i] = std::max(cell[i], value);
    for (; cell != end; ++cell)
        *cell = std::max(*cell, value);
}

/// Gives this value to the cells of these sectors that have a lesser one.
template <class Value>
void raise(std::vector<Value>& cells, const DriveGrid& grid, std::uint64_t lba, std::uint64_t count,
           Value value) {
    const std::uint64_t first = grid.partOf(lba);
    if (first >= cells.size() || count == 0)
        return;
    const std::uint64_t last = std::min<std::uint64_t>(grid.partOf(lba + count - 1), cells.size() - 1);
    raise(cells.data() + first, cells.data() + last + 1, value);
}

}  // namespace

SurfaceMap::SurfaceMap(std::uint64_t sectors)
    : m_grid(sectors, kMostCells), m_outcomes(m_grid.size()), m_slowest(m_grid.size()) {}

std::chrono::nanoseconds SurfaceMap::upTo(std::uint8_t slowest) {
    return std::chrono::nanoseconds(Scale::upperBound(slowest));
}

void SurfaceMap::addOutcome(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome) {
    raise(m_outcomes, m_grid, lba, count, outcome);
}

void SurfaceMap::addTransfer(std::uint64_t lba, std::uint32_t count, std::chrono::nanoseconds duration) {
    if (duration.count() > 0)
        raise(m_slowest, m_grid, lba, count,
              static_cast<std::uint8_t>(Scale::stepOf(static_cast<std::uint64_t>(duration.count()))));
}

}  // namespace drivetest
