#pragma once

#include <cstddef>
#include <string>

#include "drivetest/record/RecordedRun.h"
#include "quix5/TestResult.h"

namespace drivetest {

/// Results as a number: those of TestResult, then the run whose record has no end, then any other word.
inline constexpr std::size_t kUnfinishedResult = quix5::TestResult::INTERNALERROR + 1;
inline constexpr std::size_t kOtherResult = kUnfinishedResult + 1;
inline constexpr std::size_t kResults = kOtherResult + 1;

std::size_t resultOf(const RecordedRun& run);
/// "PASS"; for tools.
std::string resultName(std::size_t result);
/// The same for people, and "unfinished" in their language.
std::string resultText(std::size_t result);
/// The more, the worse for the drive; a drive at fault is the worst.
std::size_t severityOf(std::size_t result);

/// Text of any origin in so few letters that thousands of it make a page, or a line, that can be read.
std::string shortText(std::string_view text);

/// What people know a drive by: model and serial number, or the path.
std::string nameOf(const RecordedDrive& drive);

}  // namespace drivetest
