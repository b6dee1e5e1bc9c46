#pragma once

#include <memory>
#include <string>

#include "drivetest/record/RecordReader.h"
#include "drivetest/record/RunRecord.h"
#include "drivetest/report/RunReporter.h"
#include "drivetest/run/OutputFile.h"

namespace drivetest {

/// The report of a run, written at its end from the record of the run: from nothing else, so that it says
/// what "drivetest report" says.
class HtmlReporter : public RunReporter {
public:
    HtmlReporter(std::string path, OutputFile file);

    void begin(const RunStart& start) override { m_record.begin(start); }
    void driveObtained(const DriveAccess& access) override { m_record.driveObtained(access); }
    void health(HealthTime when, const HealthReading& reading) override { m_record.health(when, reading); }
    void event(const RunEvent& event) override { m_record.event(event); }
    void runError(const RunError& error) override { m_record.runError(error); }
    void unrestored(const Ranges& ranges, const std::string& journal) override {
        m_record.unrestored(ranges, journal);
    }
    void end(const RunSummary& summary) override;
    [[nodiscard]] ReportState state() override { return {m_isWritten, false, m_path}; }

private:
    void take(std::string_view line);
    bool write();

    std::string m_path;
    OutputFile m_file;
    RecordReader m_reader;
    bool m_isRead = true;
    bool m_isWritten = false;
    RunRecord m_record;
};

}  // namespace drivetest
