#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/shelf/ChildReport.h"
#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/RunProcess.h"
#include "drivetest/shelf/links/LinkSharing.h"

namespace drivetest {

/// One run of a drive under way, in a process of its own.
class DriveRun {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Without progress for longer than `hang` it is ended; zero for never.
    DriveRun(RunOptions options, RunFiles files, std::chrono::seconds hang);
    /// False after a sentence in `error`; `isCrowded` as for RunProcess::start().
    bool start(Time now, std::string& error, bool& isCrowded);

    /// Takes what it has told, and ends it where it hangs.
    void look(Time now);
    /// This process was not there for a while, so that nobody looked.
    void forgive(std::chrono::nanoseconds pause) { m_lastProgress += pause; }
    void stop();
    void hurry();
    /// What it shares with other drives, for its record. The last word counts.
    void tellSharing(const std::vector<LinkSharing>& links);

    [[nodiscard]] bool isOver() const { return m_isOver; }
    [[nodiscard]] bool isStopping() const { return m_isStopping; }
    [[nodiscard]] const ChildReport& report() const { return m_report; }
    [[nodiscard]] RunProcess* process() const { return m_process.get(); }
    [[nodiscard]] const RunOptions& options() const { return m_options; }
    [[nodiscard]] Time began() const { return m_began; }
    /// When it is over: what became of it. Reads its record, and makes its report.
    [[nodiscard]] RunOutcome outcome() const;

private:
    void takeReports(Time now);
    void watchForHang(Time now);
    [[nodiscard]] std::chrono::seconds patience() const;
    void judgeEnd(RunOutcome& outcome) const;
    void judgeHang(RunOutcome& outcome) const;
    void judgeJournal(RunOutcome& outcome) const;

    RunOptions m_options;
    RunFiles m_files;
    std::chrono::seconds m_hang;
    std::unique_ptr<RunProcess> m_process;
    std::string m_text;  ///< the beginning of a line
    std::string m_told;  ///< to the process
    ChildReport m_report;
    Time m_began{};
    Time m_lastProgress{};
    std::optional<Time> m_stopSeen;     ///< somebody wants it to stop since then
    std::optional<Time> m_endAsked;     ///< because it hangs
    std::chrono::seconds m_silence{0};  ///< that it was ended for
    std::optional<Time> m_destroyed;
    bool m_isStopping = false;
    bool m_isOver = false;
    std::optional<ProcessEnd> m_end;
};

}  // namespace drivetest
