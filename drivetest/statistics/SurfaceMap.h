#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

namespace drivetest {

/// What is known of a tested sector, from best to worst.
enum class SectorOutcome : std::uint8_t { untested, good, failed };

/// The surface of a drive in a fixed number of cells of equal size. A cell keeps its worst outcome, its
/// slowest transfer and its mean rate.
class SurfaceMap {
public:
    struct Cell {
        SectorOutcome outcome = SectorOutcome::untested;
        std::chrono::nanoseconds slowest{0};
        double seconds = 0;
        double sectors = 0;
    };

    explicit SurfaceMap(std::uint64_t sectors);

    [[nodiscard]] std::uint64_t sectorsPerCell() const { return m_sectorsPerCell; }
    [[nodiscard]] const std::vector<Cell>& cells() const { return m_cells; }

    void addOutcome(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome);
    /// Of a transfer that failed only the duration counts: it moved nobody knows how much.
    void addTransfer(std::uint64_t lba, std::uint32_t count, std::chrono::nanoseconds duration,
                     bool hasFailed = false);

private:
    template <class Visit>
    void visit(std::uint64_t lba, std::uint64_t count, Visit visitCell);

    std::uint64_t m_sectorsPerCell;
    std::vector<Cell> m_cells;
};

}  // namespace drivetest
