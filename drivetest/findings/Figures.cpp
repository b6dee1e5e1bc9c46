#include "drivetest/findings/Figures.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <optional>

#include "drivetest/record/RecordedRun.h"
#include "drivetest/terminal/Language.h"
#include "zel/Format.h"

namespace drivetest {

namespace {

constexpr const char* kNarrowSpace = "\u202f";

/// A value in a unit, with three digits.
std::string inUnit(double value, const char* unit) {
    const int digits = value < 10 ? 2 : value < 100 ? 1 : 0;
    return decimalText(value, digits) + "\u00a0" + unit;
}

/// Seconds since 1970 of "2026-11-23T04:34:38.375Z".
std::optional<double> instantOf(const std::string& text) {
    using namespace std::chrono;
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int milliseconds = 0;
    if (std::sscanf(text.c_str(), "%4d-%2u-%2uT%2d:%2d:%2d.%3d", &year, &month, &day, &hour, &minute, &second,
                    &milliseconds) < 6)
        return {};
    const year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
    if (!date.ok())
        return {};
    return static_cast<double>(sys_days(date).time_since_epoch().count()) * 86400 + hour * 3600 +
           minute * 60 + second + milliseconds / 1e3;
}

}  // namespace

std::string countFigure(std::uint64_t count) {
    const std::string digits = std::to_string(count);
    std::string text;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i != 0 && (digits.size() - i) % 3 == 0)
            text += kNarrowSpace;
        text += digits[i];
    }
    return text;
}

std::string rateFigure(double megabytesPerSecond) {
    return inUnit(megabytesPerSecond, "MB/s");
}

std::string latencyFigure(double microseconds) {
    if (microseconds < 999.5)
        return inUnit(microseconds, "µs");
    return microseconds < 999500 ? inUnit(microseconds / 1e3, "ms") : inUnit(microseconds / 1e6, "s");
}

std::string shareFigure(std::uint64_t part, std::uint64_t whole) {
    if (whole == 0 || part == 0 || part == whole)
        return std::string(part != 0 ? "100" : "0") + "\u00a0%";
    const double percent = 100 * static_cast<double>(part) / static_cast<double>(whole);
    const int digits = percent < 1 || percent > 99 ? 3 : 1;
    const double least = std::pow(10, -digits);
    return decimalText(std::clamp(percent, least, std::max(least, 100 - least)), digits) + "\u00a0%";
}

std::string sizeFigure(double bytes) {
    const char* const units[] = {"B", "kB", "MB", "GB", "TB", "PB", "EB"};
    std::size_t unit = 0;
    for (; bytes >= 999.5 && unit + 1 < std::size(units); bytes /= 1000)
        ++unit;
    return unit == 0 ? decimalText(bytes, 0) + "\u00a0B" : inUnit(bytes, units[unit]);
}

std::string durationFigure(double seconds) {
    if (seconds < 60)
        return inUnit(seconds, "s");
    const auto whole = static_cast<std::uint64_t>(std::llround(seconds));
    return zel::format("%u:%02u:%02u", whole / 3600, whole / 60 % 60, whole % 60).utf8();
}

std::string rangeFigure(std::uint64_t first, std::uint64_t last) {
    return first == last ? std::to_string(first) : std::to_string(first) + "-" + std::to_string(last);
}

std::string timeFigure(const std::string& recorded) {
    constexpr std::size_t kDate = 10;
    constexpr std::size_t kToSeconds = 19;
    if (!instantOf(recorded) || recorded.size() < kToSeconds)
        return recorded;
    return recorded.substr(0, kDate) + " " + recorded.substr(kDate + 1, kToSeconds - kDate - 1) + " UTC";
}

double secondsBetween(const std::string& from, const std::string& to) {
    const auto start = instantOf(from);
    const auto end = instantOf(to);
    return start && end ? std::max(0.0, *end - *start) : 0;
}

double secondsOf(const RecordedRun& run) {
    double seconds = secondsBetween(run.startTime, run.lastTime);
    for (const auto& [from, to] : run.pauses)
        seconds -= secondsBetween(from, to);
    return std::max(0.0, seconds);
}

}  // namespace drivetest
