#include "drivetest/terminal/Forecast.h"

#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using namespace std::chrono_literals;
using zel::counted;
using zel::words;

constexpr std::chrono::nanoseconds kMeasured = 1s;
/// Who waits no longer needs no forecast.
constexpr std::chrono::nanoseconds kSoon = 30s;
constexpr std::chrono::nanoseconds kLong = 24h;

std::string workText(const Advance& now) {
    if (now.requested == 0)
        return {};
    if (now.bytesOfEach == 0)
        return counted(now.requested, "{n} position to visit", "{n} positions to visit");
    return counted(now.requested, "{n} sector ({size}) to visit", "{n} sectors ({size}) to visit",
                   {{"size", sizeText(now.requested * now.bytesOfEach)}});
}

/// How long all of it would take.
std::chrono::nanoseconds unlimited(const Advance& now, std::chrono::nanoseconds elapsed) {
    return now.visited == 0 ? std::chrono::nanoseconds::max()
                            : std::chrono::nanoseconds(static_cast<std::int64_t>(
                                  static_cast<double>(elapsed.count()) * static_cast<double>(now.requested) /
                                  static_cast<double>(now.visited)));
}

}  // namespace

std::string Forecast::timeText(const Advance& now, std::chrono::nanoseconds elapsed,
                               std::chrono::nanoseconds all) const {
    if (m_limit.count() == 0 || all <= m_limit || now.requested == 0)
        return words("at this rate it takes about {time}", {{"time", forecastText(all)}});
    const double reached = static_cast<double>(now.visited) / static_cast<double>(elapsed.count()) *
                           static_cast<double>(m_limit.count());
    const double percent = 100 * reached / static_cast<double>(now.requested);
    return words("the test ends after {time}, and reaches about {percent} % of them",
                 {{"time", forecastText(m_limit)}, {"percent", decimalText(percent, percent < 10 ? 2 : 0)}});
}

std::vector<std::string> Forecast::due(const ProgressMeter& meter, const Advance& now,
                                       std::chrono::nanoseconds elapsed) {
    const auto left = meter.left();
    if (m_isTold || elapsed < kMeasured || !left)
        return {};
    m_isTold = true;
    // The test counts its limit of time as progress.
    const std::chrono::nanoseconds all = m_limit.count() == 0 ? elapsed + *left : unlimited(now, elapsed);
    if (all < kSoon)
        return {};
    std::vector<std::string> lines;
    const auto joined = [](const std::string& first, const std::string& second) {
        return first.empty() ? second : words("{reason}; {advice}", {{"reason", first}, {"advice", second}});
    };
    std::string text = joined(workText(now), timeText(now, elapsed, all));
    if (now.written > 0)
        text = joined(text, words("about {size} will be written",
                                  {{"size", sizeText(static_cast<std::uint64_t>(
                                                static_cast<double>(now.written) / meter.share()))}}));
    lines.push_back(text);
    if (all > kLong && m_limit.count() == 0 && !m_shorter.empty())
        lines.push_back(words("this is longer than a day: {advice}", {{"advice", m_shorter}}));
    return lines;
}

}  // namespace drivetest
