#include <algorithm>
#include <iostream>
#include <memory>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/health/HealthWords.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/StatusRows.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceDescription.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/HealthMonitor.h"
#include "quix5/StopRequest.h"
#include "zel/Clock.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::HealthMonitor;
using libDrive2::SelfTestKind;
using libDrive2::SelfTestOutcome;
using libDrive2::SelfTestState;
using zel::words;

/// How often the drive is asked, and how often a stop is looked for.
constexpr std::chrono::seconds kBetweenQuestions{5};
constexpr std::chrono::milliseconds kSlice{200};
/// Without a terminal, a line for each tenth is enough.
constexpr unsigned kToldPercent = 10;
/// A drive that does not answer so often has been lost.
constexpr int kMostFailures = 3;

ExitStatus refuse(const std::string& reason, ExitStatus status) {
    complain(reason);
    return status;
}

ExitStatus tell(const libDrive2::SelfTestEntry& test, Console& console) {
    const std::string outcome =
        words("self-test ({kind}): {outcome}",
              {{"kind", kindText(test.kind)}, {"outcome", outcomeText(test.outcome)}});
    console.line(outcome +
                 (test.firstBad ? words(", first bad sector {lba}", {{"lba", *test.firstBad}}) : ""));
    switch (test.outcome) {
        case SelfTestOutcome::passed:
            return kExitPass;
        case SelfTestOutcome::failed:
            return kExitFail;
        case SelfTestOutcome::aborted:
            return kExitUserAborted;
        default:
            return kExitCannotRun;
    }
}

ExitStatus abort(HealthMonitor& monitor, Console& console) {
    if (const auto status = monitor.abortSelfTest(); !status.ok())
        return refuse(words("the drive did not abort its test: {reason}", {{"reason", status.text}}),
                      kExitCannotRun);
    console.line(words("The drive's own test was aborted."));
    return kExitPass;
}

/// False when a stop was asked for.
bool wait() {
    for (auto left = std::chrono::milliseconds(kBetweenQuestions); left.count() > 0; left -= kSlice) {
        if (quix5::StopRequest::made())
            return false;
        zel::Clock::current().sleep(kSlice);
    }
    return !quix5::StopRequest::made();
}

/// The progress of a test, on a terminal in place, else now and then a line.
class Progress {
public:
    explicit Progress(Console& console) : m_console(console) {}
    ~Progress() { m_console.clearStatus(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(const SelfTestState& state) {
        if (!state.percent)
            return;
        const std::string text = words("self-test: {n} % done; Ctrl-C aborts it", {{"n", *state.percent}});
        if (m_console.isLive()) {
            m_console.status([text](std::size_t /*columns*/) { return StatusRows{{{text}}}; });
        } else if (*state.percent >= m_next) {
            m_console.line(text);
            m_next = *state.percent / kToldPercent * kToldPercent + kToldPercent;
        }
    }

private:
    Console& m_console;
    unsigned m_next = 0;
};

/// Until the test has ended; the state then.
SelfTestState follow(HealthMonitor& monitor, Console& console) {
    Progress progress(console);
    int failures = 0;
    for (;;) {
        SelfTestState state = monitor.selfTestState();
        failures = state.status.ok() ? 0 : failures + 1;
        if (failures >= kMostFailures || (state.status.ok() && !state.isRunning))
            return state;
        progress.show(state);
        if (!wait())
            return state;
    }
}

ExitStatus run(SelfTestKind kind, HealthMonitor& monitor, Console& console) {
    if (monitor.selfTestState().isRunning)
        return refuse(words("the drive is testing itself already: wait, or give --abort"), kExitBusy);
    if (const auto status = monitor.startSelfTest(kind); !status.ok())
        return refuse(words("the drive did not start its own test: {reason}", {{"reason", status.text}}),
                      kExitCannotRun);
    const auto minutes = monitor.selfTestMinutes(kind);
    console.line(words("The drive tests itself ({kind}).", {{"kind", kindText(kind)}}) +
                 (minutes ? " " + zel::counted(*minutes, "It expects to take {n} minute.",
                                               "It expects to take {n} minutes.")
                          : ""));
    const SelfTestState state = follow(monitor, console);
    if (quix5::StopRequest::made() && state.isRunning) {
        console.line(words("Stopped: the drive's own test is being aborted."));
        const ExitStatus aborted = abort(monitor, console);
        return aborted == kExitPass ? kExitUserAborted : aborted;
    }
    if (!state.status.ok())
        return refuse(words("the drive does not tell any more how far it is: {reason}",
                            {{"reason", state.status.text}}),
                      kExitCannotRun);
    if (!state.newest)
        return refuse(words("the drive has no entry on the test in its log"), kExitCannotRun);
    return tell(*state.newest, console);
}

}  // namespace

int testItself(const SelfTestOptions& options) {
    if (options.kind.empty() != options.abort)
        return refuse(words("which test of the drive? Give short or extended, or --abort"), kExitUsage);
    stopOnSignals();
    std::string problem;
    quix5::DiagDevice device;
    if (!isThere(options.device, problem) || !findDrive(options.device, device, problem))
        return refuse(problem, kExitUsage);
    // Others may use the drive meanwhile, but it must stay the same one.
    libDrive2::DeviceStatus failure;
    const auto lease = libDrive2::DeviceLease::take(options.device, libDrive2::LeasePurpose::look, failure);
    zel::SkippingClock simulatedTime;
    if (libDrive2::skipsTime(options.device))
        zel::Clock::install(&simulatedTime);
    const std::unique_ptr<HealthMonitor> monitor = HealthMonitor::open(device);
    Console console(stdout);
    ExitStatus status = kExitCannotRun;
    if (monitor == nullptr)
        complain(
            words("{drive} takes no commands by which it would test itself", {{"drive", options.device}}));
    else if (options.abort)
        status = abort(*monitor, console);
    else
        status = run(options.kind == "short" ? SelfTestKind::shortTest : SelfTestKind::extendedTest, *monitor,
                     console);
    zel::Clock::install(nullptr);
    return status;
}

}  // namespace drivetest
