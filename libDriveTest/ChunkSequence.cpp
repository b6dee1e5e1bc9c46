#include "ChunkSequence.h"

#include <algorithm>
#include <bit>

namespace libDriveTest {

ChunkSequence::ChunkSequence(std::uint64_t sectors, std::uint64_t chunkSectors, std::uint64_t runSectors,
                             bool isSpread)
    : m_chunkSectors(chunkSectors),
      m_fullChunks(sectors / chunkSectors),
      m_hasRest(sectors % chunkSectors != 0),
      m_runChunks(isSpread ? std::max<std::uint64_t>(runSectors / chunkSectors, 1) : m_fullChunks) {
    if (m_fullChunks != 0)
        m_bits = static_cast<unsigned>(std::bit_width((m_fullChunks - 1) / m_runChunks));
}

std::optional<std::uint64_t> ChunkSequence::next() {
    if (m_given == m_fullChunks) {
        if (!m_hasRest)
            return std::nullopt;
        m_hasRest = false;
        return m_fullChunks * m_chunkSectors;
    }
    if (m_chunk == m_runEnd) {
        m_chunk = nextRun() * m_runChunks;
        m_runEnd = std::min(m_chunk + m_runChunks, m_fullChunks);
    }
    ++m_given;
    return m_chunk++ * m_chunkSectors;
}

/// Numbers that are no run's are passed over.
std::uint64_t ChunkSequence::nextRun() {
    for (;;) {
        std::uint64_t run = 0;
        for (unsigned bit = 0; bit < m_bits; ++bit)
            run |= (m_count >> bit & 1U) << (m_bits - 1 - bit);
        ++m_count;
        if (run * m_runChunks < m_fullChunks)
            return run;
    }
}

}  // namespace libDriveTest
