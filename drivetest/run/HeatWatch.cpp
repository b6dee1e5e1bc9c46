#include "drivetest/run/HeatWatch.h"

#include <utility>

namespace drivetest {

namespace {

constexpr std::chrono::seconds kBetween{60};
/// Drives become hot and cool within minutes.
constexpr std::chrono::seconds kRest{15};
constexpr std::chrono::minutes kLongest{30};
constexpr std::int64_t kCooler = 5;

}  // namespace

HeatWatch::HeatWatch(std::function<std::optional<std::int64_t>()> read, std::int64_t limit)
    : m_read(std::move(read)), m_limit(limit) {}

std::optional<std::int64_t> HeatWatch::tooHot() {
    if (!m_read || m_sinceRead.elapsed() < kBetween)
        return std::nullopt;
    m_sinceRead = zel::Stopwatch();
    const auto degrees = m_read();
    if (!degrees)
        m_read = nullptr;
    return degrees && *degrees > m_limit ? degrees : std::nullopt;
}

void HeatWatch::cool(const std::function<bool()>& isStopping) {
    const zel::Stopwatch rest;
    while (!isStopping()) {
        if (rest.elapsed() >= kLongest) {
            m_read = nullptr;
            return;
        }
        for (std::chrono::seconds slept{0}; slept < kRest && !isStopping(); slept += std::chrono::seconds(1))
            zel::Clock::current().sleep(std::chrono::seconds(1));
        if (const auto degrees = m_read(); !degrees || *degrees <= m_limit - kCooler)
            break;
    }
    m_sinceRead = zel::Stopwatch();
}

}  // namespace drivetest
