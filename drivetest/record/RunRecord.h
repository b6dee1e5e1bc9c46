#pragma once

#include <map>
#include <memory>

#include "drivetest/record/EventJoiner.h"
#include "drivetest/record/RecordWriter.h"
#include "drivetest/safety/WatchedJournal.h"
#include "drivetest/statistics/DriveStatistics.h"
#include "quix5/DiagDevice.h"
#include "quix5/Host.h"
#include "quix5/Test.h"
#include "quix5/TestResult.h"

namespace drivetest {

/// Counts of the events of a run. Problems of the run itself, such as a reached limit, are none.
struct EventCounts {
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
};

/// The record of one run: one test run with one step, named after the test.
class RunRecord {
public:
    explicit RunRecord(std::unique_ptr<RecordWriter> writer);

    /// `test` must outlive the record.
    void begin(const quix5::Test& test, const quix5::DiagDevice& device, const std::string& commandLine);
    /// An event that the test sent. `cause`: the drive's own words for it; empty for none.
    void addEvent(const quix5::Event& event, quix5::EventType type, const std::string& cause,
                  quix5::SourceLocation where);
    /// An event raised about the run itself.
    void addRunError(const quix5::Event& event, const std::string& cause, quix5::SourceLocation where);
    /// The first thousand lines; a log file has them all.
    void addLog(const zel::String& logger, int priority, const zel::String& text);
    /// Sectors that may hold test patterns, and the journal that holds their data (empty for none).
    void addUnrestored(const std::vector<WatchedJournal::Range>& ranges, const std::string& journal);
    /// `statistics` is null when the run never got a drive.
    /// What kept the test from a verdict on the drive, before end().
    void addProblem(const char* symptom, const std::string& message);
    void end(const quix5::TestResult& result, const EventCounts& counts, const DriveStatistics* statistics);

    [[nodiscard]] bool ok() const { return m_writer->ok(); }
    [[nodiscard]] bool wasGivenUp() const { return m_writer->wasGivenUp(); }
    [[nodiscard]] const std::string& path() const { return m_writer->path(); }

private:
    void writeExtension(const char* name, Json content);
    void writeJoined(const char* name, Json content);
    struct Rate;
    void noteRate(const quix5::Event& event);
    void writeRate(const DriveStatistics& statistics, const Rate& rate);

    std::unique_ptr<RecordWriter> m_writer;
    const quix5::Test* m_test = nullptr;
    EventJoiner m_events;
    std::uint64_t m_logLines = 0;
    std::map<zel::String, double> m_statedRates;  ///< by the key of the event that told
    bool m_hasError = false;
};

}  // namespace drivetest
