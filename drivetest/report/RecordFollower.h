#pragma once

#include <string>
#include <string_view>

#include "drivetest/record/RecordReader.h"
#include "drivetest/record/RunRecord.h"
#include "drivetest/report/RunReporter.h"

namespace drivetest {

/// Reads the record of a run while the run makes it, so that whoever derives from this says what a record
/// says, and nothing else.
class RecordFollower : public RunReporter {
public:
    RecordFollower();

    void begin(const RunStart& start) override { m_record.begin(start); }
    void driveObtained(const DriveAccess& access) override { m_record.driveObtained(access); }
    void health(HealthTime when, const HealthReading& reading) override { m_record.health(when, reading); }
    void event(const RunEvent& event) override { m_record.event(event); }
    void runError(const RunError& error) override { m_record.runError(error); }
    void unrestored(const Ranges& ranges, const std::string& journal) override {
        m_record.unrestored(ranges, journal);
    }

protected:
    /// Once, with what the run ends with. Nothing where the record could not be read.
    [[nodiscard]] std::optional<RecordedRun> endOfRecord(const RunSummary& summary);

private:
    void take(std::string_view line);

    RecordReader m_reader;
    bool m_isRead = true;
    RunRecord m_record;
};

}  // namespace drivetest
