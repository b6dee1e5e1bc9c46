#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/shelf/DriveRun.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/ShelfFolder.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// One drive of a shelf, with what is to be run on it, is running, and was run.
class ShelfDrive {
public:
    using Time = DriveRun::Time;

    /// The work must outlive it. What becomes of its runs is told to `file`, if there is one, as of the drive
    /// of that number.
    explicit ShelfDrive(const DriveWork& work, WorkFile* file = nullptr, std::size_t number = 0);

    [[nodiscard]] const DriveWork& work() const { return m_work; }
    [[nodiscard]] bool isRunning() const { return m_run != nullptr; }
    /// Something is still to be started.
    [[nodiscard]] bool isWaiting() const { return !isRunning() && m_next < m_work.runs.size(); }
    [[nodiscard]] bool isOver() const { return !isRunning() && !isWaiting(); }
    /// Null when none is under way.
    [[nodiscard]] DriveRun* run() const { return m_run.get(); }
    /// Of the runs that are over, in the order of the work.
    [[nodiscard]] const std::vector<RunOutcome>& outcomes() const { return m_outcomes; }
    /// The one that came last and was not left out; where there is none, the last one. There is an outcome.
    [[nodiscard]] const RunOutcome& lastEnded() const;
    /// How far it is with all that is to be run, 0 to 1.
    [[nodiscard]] double share() const;
    [[nodiscard]] int worstStatus() const;

    /// Starts its next run. One that cannot be started is over at once; but false where it `mayWait`, and the
    /// system only has no room for it now.
    bool startNext(const ShelfFolder& folder, std::chrono::seconds hang, Time now, bool mayWait);
    /// Whether the run has ended since the last call; outcomes() then has it.
    bool look(Time now);
    /// What is not started yet will not be, and counts as this exit status.
    void leaveOutRest(const std::string& why, int status);

private:
    void put(RunOutcome outcome);
    void add(RunOutcome outcome, std::size_t run);
    void goTo(std::size_t run);
    [[nodiscard]] bool isDone(std::size_t run) const;
    [[nodiscard]] std::optional<RunFiles> filesFor(const RunOptions& options, const ShelfFolder& folder,
                                                   std::string& problem) const;

    const DriveWork& m_work;
    WorkFile* m_file;
    std::size_t m_number;
    std::size_t m_next = 0;   ///< the run to be started next
    std::size_t m_under = 0;  ///< the run under way
    std::size_t m_last = 0;   ///< the run of lastEnded()
    std::unique_ptr<DriveRun> m_run;
    std::vector<std::unique_ptr<DriveRun>> m_lost;  ///< whose processes the system does not end
    std::vector<RunOutcome> m_outcomes;
};

/// A run that did not come to a good end.
bool isFailure(const RunOutcome& outcome);

/// What people call the run while nothing else is known of it.
std::string labelOf(const RunOptions& options);

}  // namespace drivetest
