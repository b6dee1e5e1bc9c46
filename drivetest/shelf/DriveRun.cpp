#include "drivetest/shelf/DriveRun.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/RunArguments.h"
#include "drivetest/report/OutputFormats.h"
#include "drivetest/run/HeatWatch.h"
#include "drivetest/safety/JournalPlace.h"
#include "drivetest/safety/OpenJournals.h"
#include "drivetest/shelf/RecordedOutcome.h"
#include "drivetest/terminal/Labels.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using namespace std::chrono_literals;
using zel::words;

/// What comes before and after a test asks the drive, and has other times to run out.
constexpr std::chrono::seconds kPatienceBesideTest = 60s;
/// From the request to end to the end without its doing, while it makes no progress.
constexpr std::chrono::seconds kGrace = 10s;
/// The system does not end a process that waits for a drive which never answers.
constexpr std::chrono::seconds kTimeToVanish = 5s;
constexpr std::size_t kLongestLine = 4096;

/// The last sentence in a log on why the drive could not be tested: of a run that was refused, or the line
/// below an event. Looks at the end of the log only.
std::string lastReason(const std::string& log) {
    constexpr std::string_view kBegin = "drivetest: ";
    constexpr std::streamoff kMostRead = 8192;
    const std::string indent = eventIndent();
    std::ifstream file(zel::pathOf(log), std::ios::binary);
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    file.seekg(std::max<std::streamoff>(0, size - kMostRead));
    std::string found;
    for (std::string line; std::getline(file, line);)
        for (const std::string_view begin : {kBegin, std::string_view(indent)})
            if (line.starts_with(begin) && line.size() > begin.size() && line[begin.size()] != ' ')
                found = line.substr(begin.size());
    return found;
}

bool isVerdict(int status) {
    return status == kExitPass || status == kExitWarn || status == kExitFail || status == kExitUserAborted;
}

/// How a process ended that nobody asked to.
void takeEnd(const ProcessEnd& end, RunOutcome& outcome) {
    if (end.isExit) {
        outcome.end = RunEnd::byItself;
        outcome.status = end.status;
        return;
    }
    outcome.end = end.isFault ? RunEnd::crashed : RunEnd::killed;
    outcome.status = kExitInternalError;
    outcome.words =
        end.isFault
            ? words("the process of the test crashed ({cause}); this is no verdict on the drive",
                    {{"cause", end.cause}})
            : words("somebody killed the process of the test ({cause}); this is no verdict on the drive",
                    {{"cause", end.cause}});
}

RunOptions optionsOfChild(RunOptions options, const RunFiles& files) {
    options.outputs.clear();
    options.outputs[std::string(kRecordOption)] = files.record;
    options.outputs["--log"] = "-";  // what it prints goes to its log
    options.replaceOutputs = false;
    options.prompts = false;
    options.quiet = true;
    options.shelf = {};
    return options;
}

}  // namespace

DriveRun::DriveRun(RunOptions options, RunFiles files, std::chrono::seconds hang)
    : m_options(optionsOfChild(std::move(options), files)), m_files(std::move(files)), m_hang(hang) {}

bool DriveRun::start(Time now, std::string& error, bool& isCrowded) {
    m_process = RunProcess::start(argumentsOf(m_options), m_files.log, error, isCrowded);
    m_began = m_lastProgress = now;
    return m_process != nullptr;
}

void DriveRun::look(Time now) {
    takeReports(now);
    if (m_isOver)
        return;
    m_end = m_process->ended();
    m_isOver = m_end.has_value();
    if (m_isOver)
        takeReports(now);  // what came in between
    else
        watchForHang(now);
}

void DriveRun::takeReports(Time now) {
    m_text += m_process->take();
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = m_text.find('\n', begin)) != std::string::npos; begin = end + 1) {
        const auto report = ChildReport::fromText(std::string_view(m_text).substr(begin, end - begin));
        if (report && report->isBeyond(m_report))
            m_lastProgress = now;
        if (report)
            m_report = *report;
    }
    m_text.erase(0, begin);
    if (m_text.size() > kLongestLine)
        m_text.clear();
}

std::chrono::seconds DriveRun::patience() const {
    // What only this process can put back is worth any wait.
    if (m_stopSeen && m_report.stake != AtStake::unprotectedSectors)
        return m_report.stake == AtStake::nothing ? kGrace : kPatienceBesideTest;
    if (m_hang.count() == 0)
        return 0s;
    switch (m_report.stage) {
        case RunStage::testing:
            return m_hang;
        case RunStage::resting:  // what it is to do, but no longer than a rest may be
            return m_hang + HeatWatch::kLongestRest;
        case RunStage::preparing:
        case RunStage::ending:
            break;
    }
    return std::max(m_hang, kPatienceBesideTest);
}

void DriveRun::watchForHang(Time now) {
    if (m_isStopping && !m_stopSeen)
        m_stopSeen = now;
    const std::chrono::seconds longest = patience();
    const Time since = std::max(m_lastProgress, m_stopSeen.value_or(m_lastProgress));
    if (m_destroyed) {
        m_isOver = now - *m_destroyed >= kTimeToVanish;
    } else if (m_endAsked) {
        if (now - std::max(*m_endAsked, m_lastProgress) < kGrace)
            return;
        m_process->push(RunProcess::Push::destroy);
        m_destroyed = now;
    } else if (longest.count() > 0 && now - since >= longest) {
        m_process->push(RunProcess::Push::stop);
        m_endAsked = now;
        m_silence = longest;
    }
}

void DriveRun::stop() {
    if (!m_isStopping && !m_isOver)
        m_process->push(RunProcess::Push::stop);
    m_isStopping = true;
}

void DriveRun::hurry() {
    if (!m_isOver)
        m_process->push(RunProcess::Push::hurry);
}

void DriveRun::tellSharing(const std::vector<LinkSharing>& links) {
    if (m_isOver || links.empty())
        return;
    std::string line = sharingLine(links);
    line += '\n';
    if (line != m_told && m_process->tell(line))
        m_told = std::move(line);
}

RunOutcome DriveRun::outcome() const {
    RunOutcome outcome;
    outcome.test = m_options.test;
    outcome.files = m_files;
    judgeEnd(outcome);
    readRecorded(outcome);
    if (outcome.end == RunEnd::byItself && !isVerdict(outcome.status))
        say(outcome, lastReason(m_files.log));
    if (!outcome.hasRecord && outcome.end == RunEnd::byItself && outcome.status == kExitUserAborted) {
        outcome.end = RunEnd::leftOut;
        outcome.words = words("stopped before the end");
    }
    if (!outcome.hasRecord && outcome.words.empty())
        outcome.words = words("the process of the test ended with status {status} and said nothing",
                              {{"status", outcome.status}});
    judgeJournal(outcome);
    return outcome;
}

void DriveRun::judgeEnd(RunOutcome& outcome) const {
    if (m_endAsked)
        judgeHang(outcome);
    else if (m_end)
        takeEnd(*m_end, outcome);
}

void DriveRun::judgeHang(RunOutcome& outcome) const {
    outcome.end = m_end ? RunEnd::hung : RunEnd::lost;
    outcome.status = m_end && m_end->status == kExitNotRestored ? kExitNotRestored : kExitTimedOut;
    const std::string time = std::to_string(m_silence.count());
    outcome.words = m_end ? words("it made no progress for {n} s and was ended", {{"n", time}})
                          : words(
                                "it made no progress for {n} s, and the system does not end its process "
                                "{process}: the drive may have to be taken off its power",
                                {{"n", time}, {"process", m_process->number()}});
}

/// A run that came to no good end may have left sectors overwritten.
void DriveRun::judgeJournal(RunOutcome& outcome) const {
    std::string problem;
    if (outcome.end == RunEnd::byItself && outcome.status != kExitNotRestored)
        return;
    const auto tell = [&outcome](const std::string& text) {
        outcome.status = kExitNotRestored;
        say(outcome, text);
    };
    if (m_report.stake == AtStake::unprotectedSectors)
        tell(words("its sectors may hold what the test wrote, and no journal keeps their data"));
    if (m_report.journal.empty() || !zel::pathExists(m_report.journal) ||
        stateOfJournal(m_report.journal, true, nullptr, problem) == OpenJournalState::settled)
        return;
    outcome.openJournal = m_report.journal;
    const std::string folder = zel::textOf(zel::pathOf(m_report.journal).parent_path());
    tell(words("its sectors may hold what the test wrote; the journal keeps their data: {command}",
               {{"command", recoverCommand(m_options.device, folder)}}));
}

}  // namespace drivetest
