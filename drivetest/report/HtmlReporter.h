#pragma once

#include <string>

#include "drivetest/report/RecordFollower.h"
#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// The report of a run, written at its end from the record of the run: from nothing else, so that it says
/// what "drivetest report" says.
class HtmlReporter : public RecordFollower {
public:
    HtmlReporter(std::string path, OutputFile file);

    void end(const RunSummary& summary) override;
    [[nodiscard]] ReportState state() override { return {m_isWritten, false, m_path}; }

private:
    bool write(RecordedRun run);

    std::string m_path;
    OutputFile m_file;
    bool m_isWritten = false;
};

}  // namespace drivetest
