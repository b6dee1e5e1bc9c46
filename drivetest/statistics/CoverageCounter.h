#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "libDrive2/DriveObserver.h"

namespace drivetest {

/// What is known of a tested sector, from best to worst.
enum class SectorOutcome : std::uint8_t { untested, good, failed };

/// Sectors of a run; they add up: requested = tested + failed + skipped.
struct Coverage {
    std::uint64_t requested = 0;
    std::uint64_t tested = 0;  ///< and found good
    std::uint64_t failed = 0;
    std::uint64_t skipped = 0;
};

/// Counts what became of each sector, from the stream of drive operations. Tests work on one chunk at a time,
/// perhaps several times over and down to single sectors: operations inside the current chunk refine what is
/// known of it; the next announced chunk or operation outside settles it. Memory depends on the size of a
/// chunk alone.
class CoverageCounter {
public:
    /// Told of every settled run of equal sectors (never `untested`).
    using Settled = std::function<void(std::uint64_t lba, std::uint64_t count, SectorOutcome outcome)>;

    explicit CoverageCounter(Settled settled = {}) : m_settled(std::move(settled)) {}

    void plan(std::uint64_t sectors) { m_requested = sectors; }
    /// A new chunk begins, even where it is the sectors of the one before.
    void visit(std::uint64_t lba, std::uint32_t count);
    void add(std::uint64_t lba, std::uint32_t count, libDrive2::_LIBDRIVE2_ERROR_TYPES outcome);
    /// Settles the last chunk; call once, when the run is over.
    Coverage finish();

private:
    /// What is known of a sector of the current chunk. `suspect`: a transfer of several sectors failed.
    enum class State : std::uint8_t { unknown, suspect, good, failed };

    [[nodiscard]] bool isInside(std::uint64_t lba, std::uint32_t count) const;
    void open(std::uint64_t lba, std::uint32_t count);
    /// What a transfer says of the sectors it touched: of the whole chunk, or of a part of it.
    enum class Step : std::uint8_t { chunkGood, chunkBad, partGood, partBad };
    static State next(State known, Step step);
    void applyToAll(Step step);
    void applyToPart(std::uint64_t lba, std::uint32_t count, Step step);
    void settle();
    void count(std::uint64_t lba, std::uint64_t sectors, SectorOutcome outcome);

    Settled m_settled;
    std::uint64_t m_requested = 0;
    std::uint64_t m_tested = 0;
    std::uint64_t m_failed = 0;

    std::uint64_t m_lba = 0;
    std::uint32_t m_count = 0;
    State m_whole = State::unknown;  ///< of all sectors, while m_states is empty
    bool m_narrowed = false;         ///< parts of the chunk were tried on their own
    std::vector<State> m_states;
};

}  // namespace drivetest
