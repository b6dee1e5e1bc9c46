#include "drivetest/statistics/SurfaceMap.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

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

/// Gives this value to the cells of these sectors that have a lesser one, and marks their blocks.
template <class Value>
void raise(std::vector<Value>& cells, const DriveGrid& grid, std::uint64_t lba, std::uint64_t count,
           Value value, std::vector<std::uint8_t>& changed, unsigned blockShift) {
    const std::uint64_t first = grid.partOf(lba);
    if (first >= cells.size() || count == 0)
        return;
    const std::uint64_t last = std::min<std::uint64_t>(grid.partOf(lba + count - 1), cells.size() - 1);
    raise(cells.data() + first, cells.data() + last + 1, value);
    // Most transfers lie within one.
    const std::uint64_t firstBlock = first >> blockShift;
    const std::uint64_t lastBlock = last >> blockShift;
    changed[firstBlock] = 1;
    if (lastBlock != firstBlock)
        std::memset(changed.data() + firstBlock, 1, lastBlock - firstBlock + 1);
}

}  // namespace

SurfaceMap::SurfaceMap(std::uint64_t sectors)
    : m_grid(sectors, kMostCells),
      m_outcomes(m_grid.size()),
      m_slowest(m_grid.size()),
      m_changed((m_grid.size() >> kBlockShift) + 1) {}

std::chrono::nanoseconds SurfaceMap::upTo(std::uint8_t slowest) {
    return std::chrono::nanoseconds(Scale::upperBound(slowest));
}

void SurfaceMap::addOutcome(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome) {
    raise(m_outcomes, m_grid, lba, count, outcome, m_changed, kBlockShift);
}

void SurfaceMap::addTransfer(std::uint64_t lba, std::uint32_t count, std::chrono::nanoseconds duration) {
    if (duration.count() > 0)
        raise(m_slowest, m_grid, lba, count,
              static_cast<std::uint8_t>(Scale::stepOf(static_cast<std::uint64_t>(duration.count()))),
              m_changed, kBlockShift);
}

SurfaceMap::Part SurfaceMap::partOf(std::size_t firstBlock, std::size_t endBlock) const {
    const std::size_t first = firstBlock << kBlockShift;
    const std::size_t end = std::min(endBlock << kBlockShift, m_outcomes.size());
    const auto from = static_cast<std::ptrdiff_t>(first);
    const auto to = static_cast<std::ptrdiff_t>(end);
    return {first,
            {m_outcomes.begin() + from, m_outcomes.begin() + to},
            {m_slowest.begin() + from, m_slowest.begin() + to}};
}

std::vector<SurfaceMap::Part> SurfaceMap::takeChanged() {
    std::vector<Part> parts;
    for (std::size_t block = 0; block < m_changed.size(); ++block) {
        const std::size_t first = block;
        while (block < m_changed.size() && m_changed[block] != 0)
            m_changed[block++] = 0;
        if (block != first)
            parts.push_back(partOf(first, block));
    }
    return parts;
}

bool SurfaceMap::restore(const Part& part) {
    const std::size_t cells = part.outcomes.size();
    if (part.slowest.size() != cells || part.first > m_outcomes.size() ||
        cells > m_outcomes.size() - part.first)
        return false;
    for (std::size_t i = 0; i < cells; ++i) {
        m_outcomes[part.first + i] = std::max(m_outcomes[part.first + i], part.outcomes[i]);
        m_slowest[part.first + i] = std::max(m_slowest[part.first + i], part.slowest[i]);
    }
    return true;
}

}  // namespace drivetest
