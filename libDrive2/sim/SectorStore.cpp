#include "libDrive2/sim/SectorStore.h"

#include <algorithm>
#include <cstring>

namespace libDrive2 {

void SectorStore::readOne(std::uint64_t lba, std::uint8_t* buffer) const {
    if (!m_written.empty()) {
        const auto written = m_written.find(lba);
        if (written != m_written.end()) {
            std::memcpy(buffer, written->second.data(), m_sectorBytes);
            return;
        }
    }
    if (m_erased) {
        std::memset(buffer, 0, m_sectorBytes);
        return;
    }
    // 2^64 divided by the golden ratio: neighbouring LBAs share no bytes by place.
    std::uint64_t word = (lba + 1) * 0x9E3779B97F4A7C15U;
    for (std::size_t at = 0; at < m_sectorBytes; at += sizeof word, word += 0x0101010101010101U)
        std::memcpy(buffer + at, &word, std::min(sizeof word, m_sectorBytes - at));
}

void SectorStore::read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) const {
    for (std::uint32_t i = 0; i < count; ++i)
        readOne(lba + i, buffer + std::size_t{i} * m_sectorBytes);
}

void SectorStore::write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer) {
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint8_t* const sector = buffer + std::size_t{i} * m_sectorBytes;
        m_written[lba + i].assign(sector, sector + m_sectorBytes);
    }
}

}  // namespace libDrive2
