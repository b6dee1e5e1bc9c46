#include "libDrive2/sim/SimWarmth.h"

#include <cmath>

namespace libDrive2 {

double SimWarmth::rise() const {
    const zel::Clock::Duration passed = zel::Clock::current().steady().now() - m_at;
    const double end = m_works ? static_cast<double>(m_heating.riseC) : 0;
    const double part =
        std::exp(-std::chrono::duration<double>(passed).count() / static_cast<double>(m_heating.seconds));
    return end + (m_rise - end) * part;
}

void SimWarmth::setWorking(bool works) {
    if (m_heating.riseC == 0)
        return;
    m_rise = rise();
    m_at = zel::Clock::current().steady().now();
    m_works = works;
}

std::uint64_t SimWarmth::riseC() const {
    return static_cast<std::uint64_t>(std::lround(rise()));
}

}  // namespace libDrive2
