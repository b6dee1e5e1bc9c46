#pragma once

#include <string>

#include "drivetest/report/RecordFollower.h"
#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// The run as JUnit's XML, written at its end from its record.
class JUnitReporter : public RecordFollower {
public:
    JUnitReporter(std::string path, OutputFile file);

    void end(const RunSummary& summary) override;
    [[nodiscard]] ReportState state() override { return {m_isWritten, false, m_path}; }

private:
    std::string m_path;
    OutputFile m_file;
    bool m_isWritten = false;
};

}  // namespace drivetest
