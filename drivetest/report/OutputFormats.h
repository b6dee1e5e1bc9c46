#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/report/RunReporter.h"
#include "drivetest/run/OutputFile.h"

namespace drivetest {

inline constexpr std::string_view kRecordOption = "--events";
inline constexpr std::string_view kReportOption = "--report";
inline constexpr std::string_view kBadListOption = "--bad-list";
/// One file for all drives, where there are several.
inline constexpr std::string_view kJUnitOption = "--junit";
/// In a form of another program's, whose name follows.
inline constexpr std::string_view kExportOption = "--export";

/// A form in which a run can be written to a file of the user's.
struct OutputFormat {
    std::string_view option;  ///< of the command line, which names the file; "--export FORM" is two words
    std::string help;
    std::string what;  ///< in messages: "the record"
    std::unique_ptr<RunReporter> (*make)(const std::string& path, OutputFile file);
};

/// All there are.
const std::vector<OutputFormat>& outputFormats();

}  // namespace drivetest
