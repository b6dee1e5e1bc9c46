#include "libDrive2/sim/optical/OpticalLayers.h"

#include <algorithm>
#include <limits>

namespace libDrive2 {

namespace {

constexpr std::uint32_t kInterval = 4096;
/// Small media shall have several jumps, too.
constexpr std::uint32_t kLeastIntervals = 16;

}  // namespace

OpticalLayers::OpticalLayers(const OpticalMediaType& type, std::uint32_t capacity) {
    if (!type.jumpsLayers())
        return;
    m_layer = capacity / 2;
    const std::uint32_t most = m_layer / kLeastIntervals;
    m_interval = std::clamp(most - most % type.blocking, type.blocking, kInterval);
}

OpticalLayers::Stretch OpticalLayers::stretchAt(std::uint32_t lowerAddress) const {
    const std::uint32_t base = lowerAddress - lowerAddress % m_interval;
    return {base, std::min(m_interval, m_layer - base)};
}

std::uint32_t OpticalLayers::addressOf(std::uint32_t position) const {
    if (m_interval == 0 || position >= 2 * m_layer)
        return position;
    const auto [base, size] = stretchAt(position / (2 * m_interval) * m_interval);
    const std::uint32_t inside = position - 2 * base;
    return inside < size ? base + inside : 2 * m_layer - base - size + (inside - size);
}

std::uint32_t OpticalLayers::positionOf(std::uint32_t address) const {
    if (m_interval == 0 || address >= 2 * m_layer)
        return address;
    const bool isUpper = address >= m_layer;
    const auto [base, size] = stretchAt(isUpper ? 2 * m_layer - 1 - address : address);
    return isUpper ? 2 * base + size + (address - (2 * m_layer - base - size)) : base + address;
}

std::uint32_t OpticalLayers::sectorsToJump(std::uint32_t position) const {
    if (m_interval == 0 || position >= 2 * m_layer)
        return std::numeric_limits<std::uint32_t>::max() - position;
    const auto [base, size] = stretchAt(position / (2 * m_interval) * m_interval);
    const std::uint32_t inside = position - 2 * base;
    return (inside < size ? size : 2 * size) - inside;
}

std::uint32_t OpticalLayers::endOf(std::uint32_t position) const {
    if (m_interval == 0 || position <= m_interval)
        return position;
    return 2 * m_layer - m_interval + std::min(position - m_interval, m_interval);
}

}  // namespace libDrive2
