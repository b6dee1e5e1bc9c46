#include "drivetest/shelf/ShelfDrive.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/resume/ResumeStart.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

bool isFailure(const RunOutcome& outcome) {
    return outcome.end != RunEnd::leftOut && outcome.status != kExitPass && outcome.status != kExitWarn;
}

std::string labelOf(const RunOptions& options) {
    return options.survey ? "check" : options.test;
}

ShelfDrive::ShelfDrive(const DriveWork& work) : m_work(work) {
    if (work.refusal.empty())
        return;
    m_next = work.runs.size();
    RunOutcome refused;
    refused.end = RunEnd::refused;
    refused.status = work.refusedAs;
    refused.words = work.refusal;
    add(std::move(refused));
}

const RunOutcome& ShelfDrive::lastEnded() const {
    const auto found = std::find_if(m_outcomes.rbegin(), m_outcomes.rend(),
                                    [](const RunOutcome& outcome) { return outcome.end != RunEnd::leftOut; });
    return found != m_outcomes.rend() ? *found : m_outcomes.back();
}

double ShelfDrive::share() const {
    if (m_work.runs.empty())
        return 1;
    const double under = m_run != nullptr ? m_run->report().share : 0;
    return (static_cast<double>(m_next - (isRunning() ? 1 : 0)) + under) /
           static_cast<double>(m_work.runs.size());
}

int ShelfDrive::worstStatus() const {
    std::vector<int> statuses;
    statuses.reserve(m_outcomes.size());
    for (const RunOutcome& outcome : m_outcomes)
        statuses.push_back(outcome.status);
    return drivetest::worstStatus(statuses);
}

bool ShelfDrive::startNext(const ShelfFolder& folder, std::chrono::seconds hang, Time now, bool mayWait) {
    const RunOptions& options = m_work.runs.at(m_next++);
    RunOutcome failed;
    failed.end = RunEnd::notStarted;
    failed.status = kExitInternalError;
    failed.test = labelOf(options);
    const auto files =
        options.resume.empty()
            ? folder.filesFor(m_work.name, labelOf(options), failed.words)
            : folder.filesNamed(zel::textOf(zel::pathOf(nextRecord(options.resume)).stem()), failed.words);
    if (files) {
        auto run = std::make_unique<DriveRun>(options, *files, hang);
        bool isCrowded = false;
        if (run->start(now, failed.words, isCrowded)) {
            m_run = std::move(run);
            return true;
        }
        std::error_code ignored;
        std::filesystem::remove(zel::pathOf(files->record), ignored);
        if (isCrowded && mayWait) {
            --m_next;
            return false;
        }
    }
    add(std::move(failed));
    return true;
}

bool ShelfDrive::look(Time now) {
    if (m_run == nullptr)
        return false;
    m_run->look(now);
    if (!m_run->isOver())
        return false;
    // From here on the drive waits: what follows may be left out.
    std::unique_ptr<DriveRun> run = std::move(m_run);
    RunOutcome outcome = run->outcome();
    if (outcome.end == RunEnd::lost)
        m_lost.push_back(std::move(run));
    add(std::move(outcome));
    return true;
}

void ShelfDrive::add(RunOutcome outcome) {
    m_outcomes.push_back(std::move(outcome));
    // A drive that keeps even a process that was destroyed would keep the next one, too; and what is to be
    // put back comes before everything else.
    const RunOutcome last = m_outcomes.back();
    if (isWaiting() && (last.end == RunEnd::lost || last.status == kExitNotRestored ||
                        (isFailure(last) && m_work.onFailure != OnFailure::goOn)))
        leaveOutRest(zel::words("the run before it failed"), last.status);
}

void ShelfDrive::leaveOutRest(const std::string& why, int status) {
    for (; m_next < m_work.runs.size(); ++m_next) {
        RunOutcome outcome;
        outcome.status = status;
        outcome.test = labelOf(m_work.runs[m_next]);
        outcome.words = why;
        m_outcomes.push_back(std::move(outcome));
    }
}

}  // namespace drivetest
