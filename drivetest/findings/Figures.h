#pragma once

#include <cstdint>
#include <string>

namespace drivetest {

struct RecordedRun;

/// Numbers and units as a person reads them, in the language of the texts.

/// "1 000 000", its spaces narrow
std::string countFigure(std::uint64_t count);
/// "661.9 MB/s"
std::string rateFigure(double megabytesPerSecond);
/// Three digits in the unit that suits: "64.0 µs", "12.3 ms", "1.50 s"
std::string latencyFigure(double microseconds);
/// "12.3 %"; neither 0 nor 100 unless it is exactly that
std::string shareFigure(std::uint64_t part, std::uint64_t whole);
/// "512.1 GB", as drives are labelled
std::string sizeFigure(double bytes);
/// "1:02:03"
std::string durationFigure(double seconds);
/// "7", "7-9"
std::string rangeFigure(std::uint64_t first, std::uint64_t last);
/// "2026-11-23 04:34:38 UTC" of what a record has as a time, which is given back as it is where it is none.
std::string timeFigure(const std::string& recorded);
/// Between two such times; 0 where one is none.
double secondsBetween(const std::string& from, const std::string& to);
/// How long the run took, without the time between its parts.
double secondsOf(const RecordedRun& run);

}  // namespace drivetest
