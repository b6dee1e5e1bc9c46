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

    explicit SurfaceMap(std::uint64_t sectors);

    [[nodiscard]] std::uint64_t sectorsPerCell() const { return m_grid.sectorsPerPart(); }
    /// Of each cell.
    [[nodiscard]] const std::vector<SectorOutcome>& outcomes() const { return m_outcomes; }
    /// Of each cell, greater for longer transfers, see upTo(); 0 where none was timed.
    [[nodiscard]] const std::vector<std::uint8_t>& slowest() const { return m_slowest; }
    /// What a cell's slowest transfer took less than, by a quarter at most.
    [[nodiscard]] static std::chrono::nanoseconds upTo(std::uint8_t slowest);

    void addOutcome(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome);
    void addTransfer(std::uint64_t lba, std::uint32_t count, std::chrono::nanoseconds duration);

    /// Cells that follow each other.
    struct Part {
        std::size_t first = 0;
        std::vector<SectorOutcome> outcomes{};
        std::vector<std::uint8_t> slowest{};
    };
    /// All that were raised since the last call, and perhaps some beside them.
    [[nodiscard]] std::vector<Part> takeChanged();
    /// Raises cells to these values. False when there are no such cells.
    [[nodiscard]] bool restore(const Part& part);

private:
    static constexpr unsigned kBlockShift = 6;

    [[nodiscard]] Part partOf(std::size_t firstBlock, std::size_t endBlock) const;

    DriveGrid m_grid;
    std::vector<SectorOutcome> m_outcomes;
    std::vector<std::uint8_t> m_slowest;
    std::vector<std::uint8_t> m_changed;  ///< of each block of cells, whether one of them was raised
};

}  // namespace drivetest
