#include "drivetest/run/HeatWatch.h"

#include <algorithm>
#include <utility>

namespace drivetest {

namespace {

using std::chrono::seconds;

constexpr seconds kBetween{60};
/// With a limit: flash becomes hot within a minute.
constexpr seconds kBetweenWithLimit{15};
/// Drives cool within minutes.
constexpr seconds kRest{15};
/// How soon a stop is noticed meanwhile.
constexpr std::chrono::milliseconds kSlice{100};
constexpr std::int64_t kCooler = 5;
/// A drive may be too busy with an error to tell.
constexpr unsigned kMostSilences = 3;

}  // namespace

HeatWatch::HeatWatch(std::function<std::optional<std::int64_t>()> read, std::optional<std::int64_t> limit)
    : m_read(std::move(read)) {
    m_course.limit = limit;
}

void HeatWatch::goOnAfter(const HeatCourse& before) {
    const auto limit = m_course.limit;
    m_course = before;
    m_course.limit = limit;
    m_hasCourse = true;
}

void HeatWatch::note(std::int64_t degrees) {
    m_course.lowest = m_hasCourse ? std::min(m_course.lowest, degrees) : degrees;
    m_course.highest = m_hasCourse ? std::max(m_course.highest, degrees) : degrees;
    m_course.last = degrees;
    m_hasCourse = true;
    m_latest = degrees;
    m_isFresh = true;
}

bool HeatWatch::isDue() const {
    return m_read && m_sinceRead.elapsed() >= (m_course.limit ? kBetweenWithLimit : kBetween);
}

void HeatWatch::ask() {
    const auto degrees = m_read ? m_read() : std::nullopt;
    m_sinceRead = zel::Stopwatch();
    m_isFresh = false;
    if (degrees) {
        m_silences = 0;
        note(*degrees);
    } else if (++m_silences >= kMostSilences) {
        m_read = nullptr;
    }
}

std::optional<std::int64_t> HeatWatch::tooHot() const {
    return m_isFresh && m_course.limit && m_course.last > *m_course.limit ? latest() : std::nullopt;
}

HeatWatch::Rest HeatWatch::cool(const std::function<bool()>& isStopping) {
    zel::Clock& clock = zel::Clock::current().steady();
    const auto began = clock.now();
    const std::int64_t coolEnough = m_course.limit.value_or(m_course.last) - kCooler;
    const auto rested = [&] { return clock.now() - began; };
    const auto over = [&](Rest how) {
        ++m_course.rests;
        m_course.rested += std::chrono::round<seconds>(rested());
        m_isFresh = false;
        return how;
    };
    while (rested() < kLongestRest) {
        for (std::chrono::milliseconds slept{0}; slept < kRest && !isStopping(); slept += kSlice)
            clock.sleep(kSlice);
        if (isStopping())
            return over(Rest::stopped);
        ask();
        if (!m_isFresh)
            return over(Rest::silent);
        if (m_course.last <= coolEnough)
            return over(Rest::cooled);
    }
    return over(Rest::inVain);
}

std::optional<std::int64_t> HeatWatch::latest() const {
    const std::int64_t degrees = m_latest;
    return degrees != kUnknown ? std::optional(degrees) : std::nullopt;
}

std::optional<HeatCourse> HeatWatch::course() const {
    return m_hasCourse ? std::optional(m_course) : std::nullopt;
}

}  // namespace drivetest
