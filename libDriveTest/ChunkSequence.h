#pragma once

#include <cstdint>
#include <optional>

namespace libDriveTest {

/// The order in which chunks of a range are visited: one after the other, or, for a test that may have to end
/// early, such that what was visited is spread evenly over the range at any time. Then runs of chunks are
/// taken in the order of their numbers' bits read backwards (the sequence of van der Corput), each run as one
/// piece, so that a disk's head seldom moves. A shorter chunk at the end always comes last.
class ChunkSequence {
public:
    /// `sectors` in chunks of `chunkSectors`, at least 1; a run of chunks has `runSectors` at least.
    ChunkSequence(std::uint64_t sectors, std::uint64_t chunkSectors, std::uint64_t runSectors, bool isSpread);

    /// Where in the range the next chunk begins; nothing when all were given.
    std::optional<std::uint64_t> next();
    /// Passes over the chunks that make up the next `sectors`. False when these end inside a chunk, or are
    /// more than there are.
    [[nodiscard]] bool skip(std::uint64_t sectors);

private:
    [[nodiscard]] std::uint64_t nextRun();
    void openRun();

    std::uint64_t m_chunkSectors;
    std::uint64_t m_fullChunks;
    std::uint64_t m_rest;  ///< sectors of the shorter chunk; 0 without one, or when it was given
    std::uint64_t m_runChunks;
    unsigned m_bits = 0;        ///< of the number of runs
    std::uint64_t m_count = 0;  ///< of the sequence
    std::uint64_t m_given = 0;  ///< chunks
    std::uint64_t m_chunk = 0;
    std::uint64_t m_runEnd = 0;
};

}  // namespace libDriveTest
