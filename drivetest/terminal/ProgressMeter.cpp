#include "drivetest/terminal/ProgressMeter.h"

#include "drivetest/statistics/DriveStatistics.h"

namespace drivetest {

namespace {

/// What is "now" for a rate.
constexpr std::chrono::seconds kRecent{5};

std::optional<double> rate(std::uint64_t bytes, std::chrono::nanoseconds time) {
    if (bytes == 0 || time.count() <= 0)
        return std::nullopt;
    return static_cast<double>(bytes) / kBytesPerMegabyte / std::chrono::duration<double>(time).count();
}

}  // namespace

void ProgressMeter::add(Time elapsed, const Advance& now) {
    m_elapsed = elapsed;
    m_now = now;
    m_recent.push_back({elapsed, now.bytes});
    while (m_recent.size() > 2 && elapsed - m_recent[1].elapsed >= kRecent)
        m_recent.pop_front();
}

std::optional<double> ProgressMeter::rateNow() const {
    if (m_recent.empty() || m_now.bytes == 0)
        return std::nullopt;
    const Sample& first = m_recent.front();
    if (m_recent.size() == 1)
        return rateMean();
    return rate(m_now.bytes - first.bytes, m_elapsed - first.elapsed).value_or(0);
}

std::optional<double> ProgressMeter::rateMean() const {
    return rate(m_now.bytes, m_elapsed);
}

double ProgressMeter::share() const {
    const double told = m_now.percent / 100.0;
    if (m_now.requested == 0)
        return told;
    const double visited = static_cast<double>(m_now.visited) / static_cast<double>(m_now.requested);
    // A test of several passes visits each sector several times; what it tells is then all there is.
    constexpr double kPercent = 0.01;
    constexpr double kChunk = kPercent / 2;
    return visited >= told - kChunk && visited <= told + kPercent + kChunk ? visited : told;
}

std::optional<ProgressMeter::Time> ProgressMeter::left() const {
    const double done = share();
    if (done <= 0 || done >= 1 || m_elapsed.count() <= 0)
        return std::nullopt;
    const std::chrono::duration<double, std::nano> left = m_elapsed * (1 - done) / done;
    return std::chrono::round<Time>(left);
}

}  // namespace drivetest
