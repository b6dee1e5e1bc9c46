#include "libDrive2/sim/optical/OpticalCache.h"

#include <algorithm>

#include "libDrive2/sim/optical/OpticalMedia.h"

namespace libDrive2 {

void OpticalCache::keep(std::uint64_t lba, std::uint32_t count, const std::uint8_t* data) {
    for (std::uint32_t i = 0; i < count; ++i, data += kOpticalSectorBytes) {
        const auto [sector, isNew] = m_sectors.try_emplace(lba + i);
        sector->second.assign(data, data + kOpticalSectorBytes);
        if (isNew)
            m_order.push_back(lba + i);
    }
    for (; m_order.size() > kMostSectors; m_order.pop_front())
        m_sectors.erase(m_order.front());
}

bool OpticalCache::answer(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer) const {
    for (std::uint32_t i = 0; i < count; ++i)
        if (!m_sectors.contains(lba + i))
            return false;
    for (std::uint32_t i = 0; i < count; ++i)
        std::ranges::copy(m_sectors.at(lba + i), buffer + std::size_t{i} * kOpticalSectorBytes);
    return true;
}

void OpticalCache::clear() {
    m_sectors.clear();
    m_order.clear();
}

}  // namespace libDrive2
