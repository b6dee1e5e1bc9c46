#include "libDrive2/sim/optical/OpticalSpeeds.h"

#include <algorithm>
#include <limits>

namespace libDrive2 {

void OpticalSpeeds::setMedium(const OpticalMediaType* type) {
    m_readSpeeds.clear();
    m_writeSpeeds.clear();
    if (type != nullptr) {
        m_bytesPerSector = type->bytesPerSector();
        for (const std::uint32_t part : {1U, 2U, 4U})
            if (type->readMultiple % part == 0)
                add(m_readSpeeds, type->speedOf(type->readMultiple / part));
        for (const std::uint32_t multiple : type->writeMultiples)
            if (multiple != 0)
                add(m_writeSpeeds, type->speedOf(multiple));
    }
    constexpr std::uint32_t kFastest = std::numeric_limits<std::uint32_t>::max();
    chooseRead(kFastest);
    chooseWrite(kFastest);
}

void OpticalSpeeds::add(std::vector<std::uint32_t>& speeds, std::uint32_t speed) const {
    const std::uint32_t limited = m_limit != 0 ? std::min(speed, m_limit) : speed;
    if (speeds.empty() || speeds.back() != limited)
        speeds.push_back(limited);
}

std::uint32_t OpticalSpeeds::choose(const std::vector<std::uint32_t>& speeds, std::uint32_t speed) {
    if (speeds.empty())
        return 0;
    const auto found = std::ranges::find_if(speeds, [speed](std::uint32_t known) { return known <= speed; });
    return found != speeds.end() ? *found : speeds.back();
}

zel::Clock::Duration OpticalSpeeds::time(std::uint64_t sectors, std::uint32_t speed) const {
    constexpr std::uint64_t kNanosecondsPerByte = 1000000;  // at 1 KB/s
    if (speed == 0)
        return {};
    return zel::Clock::Duration(sectors * m_bytesPerSector * kNanosecondsPerByte / speed);
}

}  // namespace libDrive2
