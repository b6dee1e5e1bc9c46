#pragma once

#include <string>
#include <vector>

#include "drivetest/report/RunReporter.h"
#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// The bad sectors as a file for people and scripts: comments that begin with "#", then a line for each range
/// of one fault, such as "1000-3000 2001 unreadable" or "77 1 wrongData".
class BadListReporter : public RunReporter {
public:
    BadListReporter(std::string path, OutputFile file) : m_path(std::move(path)), m_file(std::move(file)) {}

    void begin(const RunStart& start) override;
    void end(const RunSummary& summary) override;
    [[nodiscard]] ReportState state() override { return {m_isWritten, false, m_path}; }

private:
    std::string m_path;
    OutputFile m_file;
    std::string m_title;  ///< the test and its drive
    bool m_isWritten = false;
};

std::string badListText(const BadSectors& bad, const std::string& title);

/// How many ranges the summary shows.
inline constexpr std::size_t kMostShownRanges = 50;
/// For the summary: "1000-3000, 2001 sectors"; all ranges when they are few, else the largest, and
/// how many more there are.
std::vector<std::string> badRangeLines(const BadSectors& bad);

}  // namespace drivetest
