#include "drivetest/shelf/Shelf.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>
#include <vector>

#include "drivetest/ExitStatus.h"
#include "drivetest/run/IdentityGuard.h"
#include "drivetest/run/LastWords.h"
#include "drivetest/run/Signals.h"
#include "drivetest/run/StandardStreams.h"
#include "drivetest/shelf/LinkOrder.h"
#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/shelf/ShelfFolder.h"
#include "drivetest/shelf/ShelfReport.h"
#include "drivetest/shelf/ShelfSummary.h"
#include "drivetest/shelf/ShelfView.h"
#include "drivetest/shelf/kept/WorkFile.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Labels.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using namespace std::chrono_literals;
using zel::words;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kInterval = 100ms;
/// Longer without a look was a pause of this process: nobody else is to blame for it.
constexpr std::chrono::seconds kPause = 2s;
constexpr std::chrono::minutes kBetweenTries = 1min;

std::vector<ShelfDrive> drivesOf(const ShelfWork& work) {
    std::vector<ShelfDrive> drives;
    drives.reserve(work.drives.size());
    for (const DriveWork& drive : work.drives)
        drives.emplace_back(drive, work.file.get(), drives.size());
    return drives;
}

class Shelf {
public:
    Shelf(const ShelfWork& work, RunOrder& order, ShelfFolder folder, Console& console, bool quiet)
        : m_work(work),
          m_order(order),
          m_folder(std::move(folder)),
          m_console(console),
          m_drives(drivesOf(work)),
          m_isStarted(m_drives.size()),
          m_isEnded(m_drives.size()),
          m_view(console, m_drives, quiet) {}

    int run();

private:
    void startWhatMay(Clock::time_point now);
    void lookAtAll(Clock::time_point now);
    void tellRate(std::size_t drive, const ChildReport& report);
    void tellEnds();
    void handOnStops();
    void stopAll(const std::string& why);
    void tellStake() const;
    void tellOfFile();
    [[nodiscard]] int close();
    [[nodiscard]] std::vector<RunProcess*> processes() const;

    const ShelfWork& m_work;
    RunOrder& m_order;
    ShelfFolder m_folder;
    Console& m_console;
    std::vector<ShelfDrive> m_drives;
    std::vector<bool> m_isStarted;
    std::vector<bool> m_isEnded;  ///< and the order was told
    ShelfView m_view;
    Clock::time_point m_lastLook = Clock::now();
    bool m_hasToldOfFile = false;
    /// Processes for which the system was seen to have room, and when that is looked at again.
    std::size_t m_mostRunning = std::numeric_limits<std::size_t>::max();
    Clock::time_point m_nextTry{};
    bool m_isStopping = false;
    bool m_isHurrying = false;
};

int Shelf::run() {
    for (const ShelfDrive& drive : m_drives)
        if (drive.isOver())
            m_view.tellEnd(drive);
    while (!std::ranges::all_of(m_drives, &ShelfDrive::isOver)) {
        handOnStops();
        tellEnds();
        startWhatMay(Clock::now());
        m_view.show();
        RunProcess::waitForAny(processes(), kInterval);
        lookAtAll(Clock::now());
        tellStake();
        tellOfFile();
    }
    m_view.finish();
    return close();
}

/// Sums it up. Gives the exit status.
int Shelf::close() {
    const std::string overview = m_folder.overviewFile();
    std::string problem;
    const std::vector<std::string> notes = m_order.notes();
    const bool isWritten = writeShelfReport(m_drives, notes, overview, problem);
    int status = summarize(m_drives, {m_folder.path(), isWritten ? overview : ""}, m_console);
    for (const std::string& note : notes)
        m_console.line(eventLabel(words("note:")) + note);
    if (!isWritten) {
        complain(problem);
        status = worstStatus({status, kExitInternalError});
    }
    if (m_work.file == nullptr)
        return status;
    m_work.file->over(status);
    if (m_work.file->problem().empty())
        return status;
    complain(words("{problem}; \"drivetest resume\" may do some of it once more",
                   {{"problem", m_work.file->problem()}}));
    return worstStatus({status, kExitInternalError});
}

/// Once: the tests matter more than the file.
void Shelf::tellOfFile() {
    if (m_hasToldOfFile || m_work.file == nullptr || m_work.file->problem().empty())
        return;
    m_hasToldOfFile = true;
    m_console.line(
        eventLabel(words("warning:")) +
        words("{problem}; the tests go on, but should they break off, what became of them since is "
              "known from their records alone",
              {{"problem", m_work.file->problem()}}));
}

/// A drive whose first run may start keeps its place until it is over.
void Shelf::startWhatMay(Clock::time_point now) {
    for (std::size_t i = 0; i < m_drives.size(); ++i) {
        ShelfDrive& drive = m_drives[i];
        if (!drive.isWaiting() || !(m_isStarted[i] || m_order.mayStart(i)))
            continue;
        const auto running =
            static_cast<std::size_t>(std::ranges::count_if(m_drives, &ShelfDrive::isRunning));
        if (running >= m_mostRunning && now < m_nextTry)
            return;
        const std::chrono::seconds hang(m_work.hangSeconds.value_or(drive.work().longestSilence));
        if (!drive.startNext(m_folder, hang, now, running > 0)) {
            m_mostRunning = running;
            m_nextTry = now + kBetweenTries;
            return;
        }
        if (!m_isStarted[i])
            m_order.started(i);
        m_isStarted[i] = true;
        if (!drive.isRunning())
            m_view.tellEnd(drive);
    }
}

void Shelf::lookAtAll(Clock::time_point now) {
    const auto pause = now - std::exchange(m_lastLook, now);
    for (std::size_t i = 0; i < m_drives.size(); ++i) {
        ShelfDrive& drive = m_drives[i];
        if (drive.isRunning() && pause > kPause)
            drive.run()->forgive(pause);
        if (drive.look(now)) {
            m_view.tellEnd(drive);
            if (isFailure(drive.lastEnded()) && drive.work().onFailure == OnFailure::stopAll)
                stopAll(words("{drive} failed", {{"drive", drive.work().name}}));
        } else if (drive.isRunning()) {
            tellRate(i, drive.run()->report());
            drive.run()->tellSharing(m_order.sharedBy(i));
        }
    }
}

void Shelf::tellRate(std::size_t drive, const ChildReport& report) {
    if (report.stage == RunStage::testing && report.rate)
        m_order.measured(drive, *report.rate);
}

void Shelf::tellEnds() {
    for (std::size_t i = 0; i < m_drives.size(); ++i)
        if (m_drives[i].isOver() && !m_isEnded[i]) {
            m_isEnded[i] = true;
            m_order.ended(i);
        }
}

void Shelf::stopAll(const std::string& why) {
    m_isStopping = true;
    for (ShelfDrive& drive : m_drives) {
        if (drive.isRunning())
            drive.run()->stop();
        drive.leaveOutRest(why, kExitUserAborted);
    }
}

void Shelf::handOnStops() {
    if (quix5::StopRequest::made())
        stopAll(words("stopped before the end"));
    if (!quix5::StopRequest::isInsistedOn() || m_isHurrying)
        return;
    m_isHurrying = true;
    for (const ShelfDrive& drive : m_drives)
        if (drive.isRunning())
            drive.run()->hurry();
}

/// What an end at once would leave behind is the worst of what the runs would.
void Shelf::tellStake() const {
    AtStake stake = AtStake::nothing;
    for (const ShelfDrive& drive : m_drives)
        if (drive.isRunning())
            stake = std::max(stake, drive.run()->report().stake);
    setAtStake(stake);
}

std::vector<RunProcess*> Shelf::processes() const {
    std::vector<RunProcess*> all;
    for (const ShelfDrive& drive : m_drives)
        if (drive.isRunning())
            all.push_back(drive.run()->process());
    return all;
}

/// What is printed must go to none of the drives.
bool checkStreams(const ShelfWork& work) {
    std::string error;
    for (const DriveWork& drive : work.drives) {
        const std::string journals = drive.runs.empty() ? "" : drive.runs.front().journalFolder;
        if (checkStandardStreams(guardIdentified(drive.device, drive.identity, journals), error))
            continue;
        complain(error);
        return false;
    }
    return true;
}

}  // namespace

int runShelf(ShelfWork work, const ShelfLook& look, std::unique_ptr<RunOrder> order) {
    translateLastWords();
    stopOnSignals();
    if (!checkStreams(work))
        return kExitUsage;
    std::string problem;
    auto folder = ShelfFolder::make(work.folder, work.newFolderIn, problem);
    // Of what is not kept, a power cut would leave nothing to go on with.
    if (folder && work.isKept && work.file == nullptr) {
        work.file = WorkFile::make(folder->path(), work, problem);
        if (work.file == nullptr)
            folder.reset();
    }
    if (!folder) {
        complain(problem);
        return kExitUsage;
    }
    if (order == nullptr)
        order = std::make_unique<LinkOrder>(work);
    Console console(stdout, look.colours);
    return Shelf(work, *order, *std::move(folder), console, look.quiet).run();
}

}  // namespace drivetest
