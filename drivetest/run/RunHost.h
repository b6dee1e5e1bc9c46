#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "drivetest/report/RunReporter.h"
#include "drivetest/resume/ProgressTimer.h"
#include "drivetest/run/HeatWatch.h"
#include "drivetest/run/RestClock.h"
#include "drivetest/safety/HeldDrive.h"
#include "drivetest/safety/UseWatch.h"
#include "drivetest/safety/WatchedJournal.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/ProgressText.h"
#include "quix5/Host.h"
#include "zel/Clock.h"
#include "zel/Log.h"

namespace drivetest {

/// The host of a run of the program: hands on what the test tells to who reports it, and watches the drive.
class RunHost : public quix5::Host, public zel::LogSink {
public:
    /// Both must outlive the host. The console is for what the program itself has to say, and asks.
    RunHost(Console& console, RunReporter& reporter, bool prompts);
    /// What to attach to the drive; null for none. It must outlive the run.
    void setJournal(WatchedJournal* journal) { m_journal = journal; }
    /// The drive in hand, which the drive of the run must be; null when none is. It must outlive the run.
    void setHeldDrive(const HeldDrive* held) { m_held = held; }
    /// Asked between chunks whether somebody has begun to use the drive; null for nobody. It must outlive the
    /// run.
    void setUseWatch(UseWatch* watch) { m_watch = watch; }

    /// Asked between chunks how warm the drive is; null for nobody. It must outlive the run. Where
    /// `isStrict`, a drive that does not cool ends the test.
    void setHeatWatch(HeatWatch* watch, bool isStrict);
    /// Stands still while the test waits for the program; null where no test runs.
    void setRestClock(RestClock* clock) { m_clock = clock; }

    /// What is known of the drive before the test opens it; for the record.
    struct DriveFacts {
        std::string identity{};                 ///< see DriveAccess
        std::vector<std::string> properties{};  ///< see DriveAccess
        const libDrive2::DriveFingerprint* fingerprint = nullptr;
    };
    void setDriveFacts(DriveFacts facts) { m_facts = std::move(facts); }
    /// The test tells what is settled, and that is saved when the timer says so. It must outlive the run.
    void setProgressTimer(ProgressTimer* timer) { m_progressTimer = timer; }
    /// What the run goes on from; null for nothing. It must outlive the run, and gives up its statistics.
    void setResumed(ResumedRun* resumed);
    /// So many transfers may be too slow.
    void setSlowAllowed(std::uint64_t count) { m_slowAllowed = count; }

    /// Transfers that take longer are counted in the statistics, too.
    void setSlowLimit(std::chrono::milliseconds limit) { m_slowLimit = limit; }

    /// Whether the test was stopped because somebody has begun to use its drive.
    [[nodiscard]] bool isDisturbed() const { return m_isDisturbed; }

    /// Whether the test was stopped because its drive did not cool.
    [[nodiscard]] bool isTooHot() const { return m_isTooHot; }

    /// From any thread: what fails now is not tried again.
    void giveUpAttempts();
    /// Why the drive could not be reached any more when the test ended; empty when it could.
    [[nodiscard]] const std::string& lossOfAccess() const { return m_lossOfAccess; }
    /// What the last problem of the run was with: of refused parameters "NAME:VALUE, NAME:VALUE".
    [[nodiscard]] const zel::String& refusedValues() const { return m_refusedValues; }

    /// For the display's thread.
    [[nodiscard]] ProgressSnapshot snapshot();
    [[nodiscard]] EventCounts counts() const { return {m_errors, m_warnings}; }
    /// Null until a drive was obtained.
    [[nodiscard]] const DriveStatistics* statistics() const { return m_statistics.get(); }

    void registerLibrary(const zel::String& name) override;
    bool sendEvent(const quix5::Event& event, quix5::EventType type, quix5::SourceLocation where) override;
    void error(const quix5::Event& event, quix5::SourceLocation where) override;
    void warning(const quix5::Event& event, quix5::SourceLocation where) override;
    void progress(const quix5::LocalizedString& text) override;
    void percentDone(int percent) override { m_percent.store(percent, std::memory_order_relaxed); }
    bool checkForStop() override;
    void requestAbort() override;
    bool promptEnabled() override { return m_prompts; }
    quix5::MessageBox2* createMessageBox2(const zel::String& text, const zel::String& title) override;
    quix5::TestResult driveObtained(libDrive2::Drive& drive, const quix5::DiagDevice& device) override;
    void driveReleased() override;
    void write(const zel::String& logger, int priority, const zel::String& text) override;

private:
    void watch(libDrive2::Drive& drive);
    bool isReachedAsBefore(const DriveAccess& access);
    void saveProgress(std::uint64_t sectors, std::uint32_t errors);
    void lookForUsers();
    void lookAtOutputs();
    [[nodiscard]] bool isStopping() const;
    void restWhereHot();
    void rest(std::int64_t degrees);
    void tellOfRest(HeatWatch::Rest how, std::chrono::nanoseconds rested);
    void setResting(std::string activity);
    bool isHeldDrive(libDrive2::Drive& drive);
    bool isRefused(libDrive2::Drive& drive);
    [[nodiscard]] std::string causeOf(quix5::EventType type) const;
    std::string lossOfDrive(quix5::EventType type);
    void putBackLeftovers();

    Console& m_console;
    RunReporter& m_reporter;
    bool m_prompts;
    WatchedJournal* m_journal = nullptr;
    const HeldDrive* m_held = nullptr;
    UseWatch* m_watch = nullptr;
    HeatWatch* m_heat = nullptr;
    bool m_isHeatLimitStrict = false;
    bool m_isTooHot = false;
    bool m_isBlindnessTold = false;
    RestClock* m_clock = nullptr;
    std::optional<std::chrono::milliseconds> m_slowLimit;
    DriveFacts m_facts;
    ProgressTimer* m_progressTimer = nullptr;
    ResumedRun* m_resumed = nullptr;
    std::uint64_t m_slowAllowed = 0;
    zel::Clock::Duration m_begun{0};
    bool m_isDisturbed = false;
    bool m_isFailureTold = false;
    libDrive2::Drive* m_drive = nullptr;
    zel::String m_refusedValues;
    std::string m_lossOfAccess;
    std::mutex m_mutex;  ///< guards m_activity, m_resting, m_statistics and m_drive against the other threads
    std::string m_activity;
    std::string m_resting;  ///< while the drive cools
    std::unique_ptr<DriveStatistics> m_statistics;
    std::atomic<int> m_percent{0};
    std::atomic<std::uint64_t> m_errors{0};
    std::atomic<std::uint64_t> m_warnings{0};
};

}  // namespace drivetest
