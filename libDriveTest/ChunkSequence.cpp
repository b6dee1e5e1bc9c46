#include "ChunkSequence.h"

#include <algorithm>
#include <bit>

namespace libDriveTest {

ChunkSequence::ChunkSequence(std::uint64_t sectors, std::uint64_t chunkSectors, std::uint64_t runSectors,
                             bool isSpread)
    : m_chunkSectors(chunkSectors),
      m_fullChunks(sectors / chunkSectors),
      m_rest(sectors % chunkSectors),
      m_runChunks(isSpread ? std::max<std::uint64_t>(runSectors / chunkSectors, 1) : m_fullChunks) {
    if (m_fullChunks != 0)
        m_bits = static_cast<unsigned>(std::bit_width((m_fullChunks - 1) / m_runChunks));
}

std::optional<std::uint64_t> ChunkSequence::next() {
    if (m_given == m_fullChunks) {
        if (m_rest == 0)
            return std::nullopt;
        m_rest = 0;
        return m_fullChunks * m_chunkSectors;
    }
    if (m_chunk == m_runEnd)
        openRun();
    ++m_given;
    return m_chunk++ * m_chunkSectors;
}

bool ChunkSequence::skip(std::uint64_t sectors) {
    const std::uint64_t chunks = std::min(m_fullChunks, sectors / m_chunkSectors);
    if (const std::uint64_t beyond = sectors - chunks * m_chunkSectors; beyond != 0) {
        if (chunks != m_fullChunks || beyond != m_rest)
            return false;
        m_rest = 0;
    }
    while (m_given < chunks) {
        if (m_chunk == m_runEnd)
            openRun();
        const std::uint64_t taken = std::min(m_runEnd - m_chunk, chunks - m_given);
        m_chunk += taken;
        m_given += taken;
    }
    return true;
}

void ChunkSequence::openRun() {
    m_chunk = nextRun() * m_runChunks;
    m_runEnd = std::min(m_chunk + m_runChunks, m_fullChunks);
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
