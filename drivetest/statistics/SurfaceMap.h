#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "drivetest/statistics/DriveGrid.h"

namespace drivetest {

/// What is known of a tested sector, from best to worst.
enum class SectorOutcome : std::uint8_t {
    untested,
    good,
    recovered,  ///< good, but not at the first try
    failed
};

/// The surface of a drive in at most a million cells. A cell keeps its worst outcome and its slowest
/// transfer, in a byte each: the map of the largest drive stays in a processor's cache.
class SurfaceMap {
public:
    static constexpr std::size_t kMostCells = std::size_t{1} << 20;

    struct Cell {
        SectorOutcome outcome = SectorOutcome::untested;
        std::uint8_t slowest = 0;  ///< greater for longer transfers, see upTo(); 0 where none was timed
    };

    explicit SurfaceMap(std::uint64_t sectors);

    [[nodiscard]] std::uint64_t sectorsPerCell() const { return m_grid.sectorsPerPart(); }
    [[nodiscard]] const std::vector<Cell>& cells() const { return m_cells; }
    /// What a cell's slowest transfer took less than, by a quarter at most.
    [[nodiscard]] static std::chrono::nanoseconds upTo(std::uint8_t slowest);

    void addOutcome(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome);
    void addTransfer(std::uint64_t lba, std::uint32_t count, std::chrono::nanoseconds duration);

private:
    template <class Value>
    void raise(Value Cell::*part, std::uint64_t lba, std::uint64_t count, Value value);

    DriveGrid m_grid;
    std::vector<Cell> m_cells;
};

}  // namespace drivetest
