#pragma once

#include <map>
#include <memory>

#include "drivetest/record/EventJoiner.h"
#include "drivetest/record/RecordWriter.h"
#include "drivetest/report/RunReporter.h"

namespace drivetest {

/// The record of one run: one test run with one step, named after the test.
class RunRecord : public RunReporter {
public:
    explicit RunRecord(std::unique_ptr<RecordWriter> writer);

    void begin(const RunStart& start) override;
    void driveObtained(const DriveAccess& access) override;
    void health(HealthTime when, const HealthReading& reading) override;
    void event(const RunEvent& event) override;
    void runError(const RunError& error) override;
    /// The first thousand lines of what went wrong beside the events; a log file has them all.
    void log(const zel::String& logger, int priority, const zel::String& text) override;
    void unrestored(const Ranges& ranges, const std::string& journal) override;
    void progress(const RunProgress& progress) override;
    [[nodiscard]] std::string failure() const override;
    void end(const RunSummary& summary) override;
    [[nodiscard]] ReportState state() override;

private:
    void goOn(const ResumedRun& resumed, const std::string& commandLine);
    void writeExtension(const char* name, Json content);
    void writeJoined(const char* name, Json content);
    void writeMeasurement(const quix5::Measurement& measurement);
    void writeRates(const DriveStatistics& statistics);

    std::unique_ptr<RecordWriter> m_writer;
    const quix5::Test* m_test = nullptr;
    EventJoiner m_events;
    zel::String m_lastMessage;  ///< of the last event
    std::uint64_t m_logLines = 0;
    std::map<zel::String, quix5::Measurement> m_measured;  ///< by name
    bool m_hasError = false;
    bool m_isResumed = false;  ///< the lines taken over tell of the drive and its health before
};

}  // namespace drivetest
