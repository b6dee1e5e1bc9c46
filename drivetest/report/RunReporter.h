#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/health/HealthReading.h"
#include "drivetest/health/HeatCourse.h"
#include "drivetest/record/RecordedGrade.h"
#include "drivetest/safety/WatchedJournal.h"
#include "drivetest/shelf/links/LinkSharing.h"
#include "drivetest/statistics/DriveStatistics.h"
#include "libDrive2/DriveFingerprint.h"
#include "quix5/DiagDevice.h"
#include "quix5/Event.h"
#include "quix5/Host.h"
#include "quix5/Test.h"
#include "quix5/TestResult.h"

namespace drivetest {

struct ResumedRun;

/// Counts of the events of a run. Problems of the run itself, such as a reached limit, are none.
struct EventCounts {
    std::uint64_t errors = 0;
    std::uint64_t warnings = 0;
};

/// A run between two chunks: what one that goes on from there needs to know.
struct RunProgress {
    std::uint64_t sectorsDone;  ///< in the order of the test
    std::uint32_t errorsDone;   ///< as the test counts them
    EventCounts counts;
    zel::Clock::Duration spent;  ///< since the test got its drive
    unsigned slowMs;             ///< what is too slow, see RunOptions
    std::uint64_t slowAllowed;
    std::int64_t maxTemperature;     ///< degrees Celsius, see RunOptions
    std::optional<HeatCourse> heat;  ///< where the drive told
    const StatisticsState& state;
};

/// What a run begins with. The test and the device outlive all reporters.
struct RunStart {
    const quix5::Test& test;
    const quix5::DiagDevice& device;
    std::string commandLine;
    const ResumedRun* resumed = nullptr;  ///< what it goes on from; null for nothing
};

/// The drive as the test got it.
struct DriveAccess {
    const char* method;  ///< how its sectors are reached, see accessMethodOf()
    std::uint64_t sectors;
    std::uint32_t sectorBytes;
    std::uint64_t protectionType = 0;  ///< of SCSI protection information; 0 none
    std::string identity{};  ///< what tells it from others, DriveIdentity's text; empty when unknown
    std::uint32_t transferSectors = 0;      ///< that it takes best at once
    std::vector<std::string> properties{};  ///< that the user gave it, NAME=VALUE
    /// What it holds at some places, where a run that goes on has to know; else null.
    const libDrive2::DriveFingerprint* fingerprint = nullptr;
};

/// An event that the test sent of its drive.
struct RunEvent {
    const quix5::Event& event;
    quix5::EventType type;
    std::string cause;        ///< the drive's own words for it; empty for none
    std::string lossOfDrive;  ///< why the whole drive takes no transfers; empty when it does
    quix5::SourceLocation where;
};

/// A problem of the run itself.
struct RunError {
    const quix5::Event* event;  ///< by which the test told it; null when the program did
    std::string symptom;        ///< a short name; the event's key
    std::string message;
    std::string cause;
    std::string lossOfDrive;
    std::optional<quix5::SourceLocation> where;
    std::string
        shown{};  ///< the message for people in their language, where it is another; records have English
};

/// When a drive was asked for its health.
enum class HealthTime : std::uint8_t { beforeTest, afterTest };

/// What a run ends with.
struct RunSummary {
    quix5::TestResult result{};
    EventCounts counts{};
    const DriveStatistics* statistics = nullptr;  ///< null when the run never got a drive
    bool isDataMissing = false;                   ///< sectors were not put back
    std::string allBadSectors{};                  ///< the file that lists them all; empty for none
    std::optional<RecordedGrade> grade{};         ///< where one was asked for
    std::optional<HeatCourse> heat{};             ///< where the drive told
    std::vector<LinkSharing> sharedLinks{};       ///< with drives that are tested beside this one
};

/// What became of a reporter's file.
struct ReportState {
    bool isComplete = true;
    bool wasGivenUp = false;  ///< incomplete only because nobody took what was left of it
    std::string path{};       ///< empty for none
};

/// Tells somebody of a run, in one form: a format of output is one such class and one row in OutputFormats.
/// Calls come from one thread, begin() first and end() last, and do not wait for whoever reads.
class RunReporter {
public:
    using Ranges = std::vector<WatchedJournal::Range>;

    virtual ~RunReporter() = default;

    virtual void begin(const RunStart& /*start*/) {}
    /// Once, when the test has its drive; not when it gets none.
    virtual void driveObtained(const DriveAccess& /*access*/) {}
    /// At most once for each time; not of drives that tell nothing of it.
    virtual void health(HealthTime /*when*/, const HealthReading& /*reading*/) {}
    virtual void event(const RunEvent& /*event*/) {}
    virtual void runError(const RunError& /*error*/) {}
    /// A line of the log.
    virtual void log(const zel::String& /*logger*/, int /*priority*/, const zel::String& /*text*/) {}
    /// Sectors that may hold test patterns, and the journal that holds their data (empty for none).
    virtual void unrestored(const Ranges& /*ranges*/, const std::string& /*journal*/) {}
    /// Now and then, between two chunks, of tests that can go on.
    virtual void progress(const RunProgress& /*progress*/) {}
    /// A sentence on why its file takes nothing more; empty while it does. From begin() on.
    [[nodiscard]] virtual std::string failure() const { return {}; }
    virtual void end(const RunSummary& /*summary*/) {}

    /// After end(): waits until all is written, as long as OutputQueue::finish() does.
    [[nodiscard]] virtual ReportState state() { return {}; }
};

}  // namespace drivetest
