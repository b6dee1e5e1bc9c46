#pragma once

#include <cstddef>
#include <cstdint>

namespace drivetest {

/// A drive's sectors in parts of equal size, a power of two: finding a sector's part costs a shift.
class DriveGrid {
public:
    /// As many parts as there may be; of a drive with fewer sectors each is one sector.
    constexpr DriveGrid(std::uint64_t sectors, std::size_t mostParts) {
        while (partsOf(sectors) > mostParts)
            ++m_shift;
        m_size = static_cast<std::size_t>(partsOf(sectors));
    }

    [[nodiscard]] constexpr std::size_t size() const { return m_size; }
    [[nodiscard]] constexpr std::uint64_t sectorsPerPart() const { return std::uint64_t{1} << m_shift; }
    /// At least size() for a sector behind the drive's last.
    [[nodiscard]] constexpr std::uint64_t partOf(std::uint64_t lba) const { return lba >> m_shift; }

private:
    [[nodiscard]] constexpr std::uint64_t partsOf(std::uint64_t sectors) const {
        return sectors == 0 ? 0 : ((sectors - 1) >> m_shift) + 1;
    }

    unsigned m_shift = 0;
    std::size_t m_size = 0;
};

}  // namespace drivetest
