#pragma once

#include <memory>
#include <optional>
#include <string>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/resume/ProgressTimer.h"
#include "drivetest/run/RunHost.h"
#include "drivetest/run/RunOutputs.h"
#include "drivetest/run/Signals.h"
#include "drivetest/safety/TakenDrive.h"
#include "drivetest/shelf/ShelfLink.h"
#include "drivetest/terminal/Console.h"
#include "libDrive2/HealthMonitor.h"
#include "quix5/TestResult.h"

namespace drivetest {

/// The run itself. What it is made of can be had only by the steps before: a test that was chosen, its drive
/// taken, the outputs opened. All of it must outlive the run.
class TestRun {
public:
    TestRun(const RunOptions& options, TakenDrive& drive, RunOutputs& outputs, Console& console);
    /// Whom to tell how far it is, beside the person; null for nobody. It must outlive the run.
    void setLink(ShelfLink* link) { m_link = link; }
    /// Runs the test, settles the journal, and has the reporters tell the end. Once. Gives the exit status.
    int execute();

private:
    quix5::TestResult runTest();
    [[nodiscard]] quix5::TestResult explainStop(const quix5::TestResult& result) const;
    void watchHeat();
    void followProgress();
    void tellHealthBefore();
    void tellStake(AtStake stake);
    std::optional<std::int64_t> readTemperature();
    void tellHealth(HealthTime when);
    [[nodiscard]] quix5::TestResult resultBefore() const;
    int end(const quix5::TestResult& result);
    bool settleJournal();
    void explain(const quix5::TestResult& result);
    void tellOfRest(const quix5::TestResult& result);
    void offerFullRead(const DriveStatistics& statistics);
    [[nodiscard]] quix5::TestResult judgeSlowness(const quix5::TestResult& result) const;

    const RunOptions& m_options;
    ChosenTest& m_chosen;
    TakenDrive& m_drive;
    RunOutputs& m_outputs;
    Console& m_console;
    std::optional<ProgressTimer> m_progressTimer;
    RunHost m_host;
    ShelfLink* m_link = nullptr;
    std::optional<UseWatch> m_watch;
    std::unique_ptr<libDrive2::HealthMonitor> m_thermometer;
    std::optional<HeatWatch> m_heat;
};

}  // namespace drivetest
