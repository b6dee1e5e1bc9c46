#pragma once

#include <cstdint>
#include <deque>
#include <unordered_map>
#include <vector>

namespace libDrive2 {

/// The sectors that a strict drive read or wrote last: 2 MiB of them, which later ones displace.
class OpticalCache {
public:
    void keep(std::uint64_t lba, std::uint32_t count, const std::uint8_t* data);
    /// Only all of them or none; false for none.
    bool answer(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) const;
    void clear();

private:
    static constexpr std::size_t kMostSectors = 1024;

    std::unordered_map<std::uint64_t, std::vector<std::uint8_t>> m_sectors;
    std::deque<std::uint64_t> m_order;  ///< the oldest first
};

}  // namespace libDrive2
