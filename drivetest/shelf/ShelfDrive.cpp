#include "drivetest/shelf/ShelfDrive.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/shelf/kept/WorkFile.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

bool isFailure(const RunOutcome& outcome) {
    return outcome.end != RunEnd::leftOut && outcome.status != kExitPass && outcome.status != kExitWarn;
}

std::string labelOf(const RunOptions& options) {
    return options.survey ? "check" : options.test;
}

ShelfDrive::ShelfDrive(const DriveWork& work, WorkFile* file, std::size_t number)
    : m_work(work), m_file(file), m_number(number) {
    for (const std::optional<RunOutcome>& done : work.done)
        if (done)
            put(*done);
    goTo(0);
    if (work.refusal.empty() || (!isWaiting() && !work.runs.empty()))
        return;
    RunOutcome refused;
    refused.end = RunEnd::refused;
    refused.run = m_next;
    refused.status = work.refusedAs;
    refused.words = work.refusal;
    m_next = work.runs.size();
    put(std::move(refused));
}

const RunOutcome& ShelfDrive::lastEnded() const {
    const auto found =
        std::ranges::find_if(m_outcomes, [this](const RunOutcome& each) { return each.run == m_last; });
    return found != m_outcomes.end() ? *found : m_outcomes.back();
}

double ShelfDrive::share() const {
    if (isOver())
        return 1;
    const double under = m_run != nullptr ? m_run->report().share : 0;
    return (static_cast<double>(m_outcomes.size()) + under) / static_cast<double>(m_work.runs.size());
}

int ShelfDrive::worstStatus() const {
    std::vector<int> statuses;
    statuses.reserve(m_outcomes.size());
    for (const RunOutcome& outcome : m_outcomes)
        statuses.push_back(outcome.status);
    return drivetest::worstStatus(statuses);
}

std::optional<RunFiles> ShelfDrive::filesFor(const RunOptions& options, const ShelfFolder& folder,
                                             std::string& problem) const {
    return options.resume.empty() ? folder.filesFor(m_work.name, labelOf(options), problem)
                                  : folder.filesNextTo(options.resume, problem);
}

bool ShelfDrive::startNext(const ShelfFolder& folder, std::chrono::seconds hang, Time now, bool mayWait) {
    m_under = m_next;
    const RunOptions& options = m_work.runs.at(m_under);
    goTo(m_under + 1);
    RunOutcome failed;
    failed.end = RunEnd::notStarted;
    failed.status = kExitInternalError;
    failed.test = labelOf(options);
    if (const auto files = filesFor(options, folder, failed.words)) {
        // First this: whoever goes on has to know whose the record is.
        if (m_file != nullptr)
            m_file->started(m_number, m_under, files->record);
        auto run = std::make_unique<DriveRun>(options, *files, hang);
        bool isCrowded = false;
        if (run->start(now, failed.words, isCrowded)) {
            m_run = std::move(run);
            return true;
        }
        std::error_code ignored;
        std::filesystem::remove(zel::pathOf(files->record), ignored);
        if (isCrowded && mayWait) {
            m_next = m_under;
            return false;
        }
    }
    add(std::move(failed), m_under);
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
    add(std::move(outcome), m_under);
    return true;
}

bool ShelfDrive::isDone(std::size_t run) const {
    return run < m_work.done.size() && m_work.done[run];
}

void ShelfDrive::goTo(std::size_t run) {
    for (m_next = run; m_next < m_work.runs.size() && isDone(m_next);)
        ++m_next;
}

void ShelfDrive::put(RunOutcome outcome) {
    if (outcome.end != RunEnd::leftOut)
        m_last = outcome.run;
    const auto place = std::ranges::upper_bound(m_outcomes, outcome.run, {}, &RunOutcome::run);
    m_outcomes.insert(place, std::move(outcome));
}

void ShelfDrive::add(RunOutcome outcome, std::size_t run) {
    outcome.run = run;
    const bool isLost = outcome.end == RunEnd::lost;
    const bool isFailed = isFailure(outcome);
    const int status = outcome.status;
    if (m_file != nullptr)
        m_file->ended(m_number, outcome);
    put(std::move(outcome));
    // A drive that keeps even a process that was destroyed would keep the next one, too; and what is to be
    // put back comes before everything else.
    if (isWaiting() &&
        (isLost || status == kExitNotRestored || (isFailed && m_work.onFailure != OnFailure::goOn)))
        leaveOutRest(zel::words("the run before it failed"), status);
}

void ShelfDrive::leaveOutRest(const std::string& why, int status) {
    for (; m_next < m_work.runs.size(); goTo(m_next + 1)) {
        RunOutcome outcome;
        outcome.run = m_next;
        outcome.status = status;
        outcome.test = labelOf(m_work.runs[m_next]);
        outcome.words = why;
        if (m_file != nullptr)
            m_file->ended(m_number, outcome);
        put(std::move(outcome));
    }
}

}  // namespace drivetest
