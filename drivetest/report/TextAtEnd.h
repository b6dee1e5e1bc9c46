#pragma once

#include <string>

#include "drivetest/report/RunReporter.h"
#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// A file that is written when the run has ended, as one text.
class TextAtEnd : public RunReporter {
public:
    TextAtEnd(std::string path, OutputFile file);

    void begin(const RunStart& start) override;
    void driveObtained(const DriveAccess& access) override { m_drive = access; }
    void end(const RunSummary& summary) override;
    [[nodiscard]] ReportState state() override { return {m_isWritten, false, m_path}; }

protected:
    [[nodiscard]] virtual std::string text(const RunSummary& summary) const = 0;
    /// The test and its drive, fit to be shown.
    [[nodiscard]] const std::string& title() const { return m_title; }
    /// All zero where the run never got a drive.
    [[nodiscard]] const DriveAccess& drive() const { return m_drive; }

private:
    std::string m_path;
    OutputFile m_file;
    std::string m_title;
    DriveAccess m_drive{};
    bool m_isWritten = false;
};

}  // namespace drivetest
