#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "drivetest/statistics/BadSectors.h"
#include "drivetest/statistics/SectorSet.h"
#include "libDrive2/DriveObserver.h"

namespace drivetest {

/// What became of a run's sectors, or positions: requested = tested + failed + skipped.
struct Coverage {
    enum class Unit : std::uint8_t {
        sectors,   ///< each counted once, however often it was visited
        positions  ///< of one sector each; some may have been visited several times
    };

    Unit unit = Unit::sectors;
    std::uint64_t requested = 0;
    std::uint64_t tested = 0;  ///< and found good
    std::uint64_t failed = 0;
    std::uint64_t skipped = 0;
};

/// "sectors", "positions"
const char* nameOf(Coverage::Unit unit);

/// Counts what became of each sector. What is bad the test says (condemn); what is good the stream of its
/// operations.
///
/// How it works: tests work on one chunk at a time, perhaps several times over and down to single sectors.
/// Of the current chunk a state is kept: one for all of it, which is the usual case and costs nothing, or one
/// for each sector as soon as an operation concerns a part. A transfer of the whole chunk that succeeds makes
/// unknown sectors good. One that fails makes all of them suspect, good ones too, for any of them may be the
/// reason; suspects are cleared only one by one, by transfers of a part: a later success of the whole may
/// be luck. Skipped and condemned outrank whatever else is learnt. The next chunk, announced or met by an
/// operation outside, settles this one: its good runs go into a set of sectors, so that each counts once
/// however often it is visited, and what is still suspect or unknown counts as skipped. At the end the set
/// of bad sectors is taken off: what was good once may have turned bad. A run of positions (random seeks)
/// counts visits instead, and needs no set.
class CoverageCounter {
public:
    /// Told of every settled run of good sectors: whether each was good at the first try, or a transfer of
    /// their chunk failed and no sector was found that is to blame.
    using Settled = std::function<void(std::uint64_t lba, std::uint64_t count, bool atFirstTry)>;

    explicit CoverageCounter(Settled settled = {});

    void plan(std::uint64_t count, Coverage::Unit unit);
    /// A new chunk begins, even where it is the sectors of the one before.
    void visit(std::uint64_t lba, std::uint32_t count);
    void add(std::uint64_t lba, std::uint32_t count, libDrive2::_LIBDRIVE2_ERROR_TYPES outcome);
    /// The test found them bad, wherever they lie.
    void condemn(std::uint64_t lba, std::uint64_t count);
    /// The test leaves these sectors of the current chunk untested.
    void skip(std::uint64_t lba, std::uint32_t count);
    /// Settles the chunk that is open: nothing more is done in it.
    void close();
    /// What settled in an earlier part of the run: these sectors were good, ...
    void restoreGood(std::uint64_t lba, std::uint64_t count) { m_good.add(lba, count); }
    /// ... and so many were visited.
    void restoreVisited(std::uint64_t visited) { m_visited = visited; }
    /// In all chunks before the current one, whatever became of them, each as often as it was visited.
    [[nodiscard]] std::uint64_t visited() const { return m_visited; }
    /// Settles the last chunk; call once, when the run is over. `bad` holds all that was condemned.
    Coverage finish(const BadSectors& bad);
    /// Sectors that were good when they were visited last, as far as spans of them are kept; none of a run of
    /// positions. After finish().
    [[nodiscard]] std::vector<libDrive2::SectorSpan> good() { return m_good.ranges(); }

private:
    /// What is known of a sector of the current chunk. `suspect`: a transfer of several sectors failed.
    enum class State : std::uint8_t { unknown, suspect, good, skipped, failed };
    /// What is learnt of sectors: by a transfer of the whole chunk or of a part of it, or from the test.
    enum class Step : std::uint8_t { chunkGood, chunkBad, partGood, skipped, condemned };

    static State next(State known, Step step);
    [[nodiscard]] bool isInside(std::uint64_t lba, std::uint32_t count) const;
    void open(std::uint64_t lba, std::uint32_t count);
    void apply(std::uint64_t lba, std::uint32_t count, Step step);
    void settle();
    void settleRun(std::uint64_t lba, std::uint64_t count, State state, bool atFirstTry);
    [[nodiscard]] std::uint64_t goodSectors(const BadSectors& bad);

    Settled m_settled;
    Coverage m_planned;
    SectorSet m_good;
    std::uint64_t m_positionsGood = 0;
    std::uint64_t m_positionsFailed = 0;
    std::uint64_t m_visited = 0;

    std::uint64_t m_lba = 0;
    std::uint32_t m_count = 0;
    State m_whole = State::unknown;  ///< of all sectors, while m_states is empty
    std::vector<State> m_states;
    bool m_hasFailedTransfer = false;
};

}  // namespace drivetest
