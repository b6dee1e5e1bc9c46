#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace libDrive2 {

/// The contents of a medium of any size: sectors that were never written hold bytes made from their LBA, so
/// that a sector in the wrong place is noticed; only written ones take memory.
class SectorStore {
public:
    explicit SectorStore(std::uint32_t sectorBytes) : m_sectorBytes(sectorBytes) {}

    void read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) const;
    void write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer);
    /// From now on, sectors hold zeros until they are written.
    void erase() {
        m_written.clear();
        m_erased = true;
    }

private:
    void readOne(std::uint64_t lba, std::uint8_t* buffer) const;

    std::uint32_t m_sectorBytes;
    bool m_erased = false;
    std::unordered_map<std::uint64_t, std::vector<std::uint8_t>> m_written;
};

}  // namespace libDrive2
