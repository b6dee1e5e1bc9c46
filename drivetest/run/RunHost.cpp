#include "drivetest/run/RunHost.h"

#include <utility>

#include "drivetest/devices/AccessMethod.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/resume/ResumedRun.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/TerminalPrompt.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/Drive.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

void fillFrom(const LiveCounts& counts, ProgressSnapshot& now) {
    now.advance.bytes = counts.bytes();
    now.advance.written = counts.written();
    now.advance.bytesOfEach = counts.bytesOfEach();
    now.advance.visited = counts.visited();
    now.advance.requested = counts.requested();
    now.surface = counts.surface();
    now.position = counts.position();
}

}  // namespace

RunHost::RunHost(Console& console, RunReporter& reporter, bool prompts)
    : m_console(console), m_reporter(reporter), m_prompts(prompts) {}

ProgressSnapshot RunHost::snapshot() {
    const std::lock_guard lock(m_mutex);
    ProgressSnapshot now;
    now.advance.percent = m_percent;
    now.errors = m_errors;
    now.warnings = m_warnings;
    now.activity = m_resting.empty() ? m_activity : m_resting;
    now.isResting = !m_resting.empty();
    if (m_heat != nullptr)
        now.temperature = m_heat->latest();
    if (m_statistics != nullptr)
        fillFrom(m_statistics->live(), now);
    if (m_resumed != nullptr)
        now.spentBefore = m_resumed->spent;
    if (!quix5::StopRequest::made())
        return now;
    now.stopping = zel::words("stopping");
    now.activity =
        quix5::StopRequest::isInsistedOn()
            ? zel::words("without further attempts; Ctrl-C once more ends at once, and restores nothing")
            : zel::words("after this transfer; Ctrl-C again gives up further attempts");
    return now;
}

void RunHost::giveUpAttempts() {
    const std::lock_guard lock(m_mutex);
    if (m_drive != nullptr)
        m_drive->setRetryCount(0);
}

void RunHost::registerLibrary(const zel::String& /*name*/) {}

bool RunHost::sendEvent(const quix5::Event& event, quix5::EventType type, quix5::SourceLocation where) {
    if (type == quix5::EventType::ERR)
        ++m_errors;
    else if (type == quix5::EventType::WARNING)
        ++m_warnings;
    m_reporter.event({event, type, causeOf(type), lossOfDrive(type), where});
    return true;
}

void RunHost::error(const quix5::Event& event, quix5::SourceLocation where) {
    constexpr auto kType = quix5::EventType::ERR;
    for (const auto& [name, value] : event.variables())
        m_refusedValues = value.valueString().zelString();
    m_reporter.runError({&event, event.key().utf8(), event.localizedMessage().utf8(), causeOf(kType),
                         lossOfDrive(kType), where});
}

void RunHost::warning(const quix5::Event& event, quix5::SourceLocation where) {
    sendEvent(event, quix5::EventType::WARNING, where);
}

void RunHost::progress(const quix5::LocalizedString& text) {
    const std::lock_guard lock(m_mutex);
    m_activity = text.localizedString().zelString().utf8();
}

bool RunHost::checkForStop() {
    // Not while sectors hold what the test wrote.
    if (m_journal == nullptr || m_journal->unrestored().empty())
        OutputQueue::waitForRoom();
    lookAtOutputs();
    lookForUsers();
    restWhereHot();
    return isStopping();
}

bool RunHost::isStopping() const {
    // A test must not go on overwriting what cannot be saved, or was not put back.
    return quix5::StopRequest::made() || m_isDisturbed || m_isTooHot || OutputQueue::hasStandardFailed() ||
           (m_journal != nullptr && !m_journal->failure().empty());
}

void RunHost::setHeatWatch(HeatWatch* watch, bool isStrict) {
    const std::lock_guard lock(m_mutex);
    m_heat = watch;
    m_isHeatLimitStrict = isStrict;
}

/// Nothing that the test wrote stays on the drive while it rests.
void RunHost::restWhereHot() {
    if (m_heat == nullptr || m_clock == nullptr || isStopping() ||
        (m_journal != nullptr && !m_journal->unrestored().empty()))
        return;
    if (m_heat->isDue()) {
        const RestClock::Stop noPartOfTheTest(*m_clock);
        m_heat->ask();
    }
    if (m_heat->isBlind() && m_isHeatLimitStrict && !std::exchange(m_isBlindnessTold, true))
        m_console.line(eventLabel(words("warning:")) +
                       words("the drive does not tell how warm it is: --max-temp has no effect"));
    if (const auto degrees = m_heat->tooHot())
        rest(*degrees);
}

void RunHost::rest(std::int64_t degrees) {
    m_console.line(eventLabel(words("info:")) +
                   words("the drive has {degrees} °C, and {limit} °C are allowed: it rests",
                         {{"degrees", degrees}, {"limit", m_heat->limit().value_or(degrees)}}));
    setResting(words("resting"));
    const std::chrono::nanoseconds began = m_clock->steady().now();
    const RestClock::Stop noPartOfTheTest(*m_clock);
    const HeatWatch::Rest how = m_heat->cool([this] { return isStopping(); });
    setResting({});
    tellOfRest(how, m_clock->steady().now() - began);
}

void RunHost::tellOfRest(HeatWatch::Rest how, std::chrono::nanoseconds rested) {
    const std::int64_t degrees = m_heat->latest().value_or(0);
    const std::string time = durationText(rested);
    std::string text;
    if (how == HeatWatch::Rest::stopped)
        return;
    if (how == HeatWatch::Rest::inVain && m_isHeatLimitStrict) {
        m_isTooHot = true;
        const zel::Wording problem = zel::worded(
            "the drive has {degrees} °C after an hour of rest, and {limit} °C are allowed: cool it, or allow "
            "more with --max-temp",
            {{"degrees", degrees}, {"limit", m_heat->limit().value_or(degrees)}});
        m_reporter.runError({nullptr, "driveTooHot", problem.utf8(), {}, {}, {}, problem.shown().utf8()});
        return;
    }
    if (how == HeatWatch::Rest::inVain) {
        m_heat->dropLimit();
        text = words("the drive has {degrees} °C after an hour of rest: the test goes on as it is",
                     {{"degrees", degrees}});
    } else if (how == HeatWatch::Rest::silent) {
        text =
            words("the drive does not tell how warm it is: the test goes on after {time}", {{"time", time}});
    } else {
        text = words("the drive has {degrees} °C: the test goes on after {time}",
                     {{"degrees", degrees}, {"time", time}});
    }
    m_console.line(eventLabel(words("info:")) + text);
}

void RunHost::setResting(std::string activity) {
    const std::lock_guard lock(m_mutex);
    m_resting = std::move(activity);
}

void RunHost::lookForUsers() {
    if (m_isDisturbed || m_watch == nullptr || !m_watch->isDisturbed())
        return;
    m_isDisturbed = true;
    m_console.line(
        eventLabel(words("error:")) +
        words("{reason}: the test stops, and puts back what it overwrote", {{"reason", m_watch->reason()}}));
}

/// At once: who has to wait for the end of the night might as well make room.
void RunHost::lookAtOutputs() {
    if (m_isFailureTold || !OutputQueue::hasAnyFailed())
        return;
    const std::string failure = m_reporter.failure();
    if (failure.empty())
        return;
    m_isFailureTold = true;
    m_console.line(eventLabel(words("error:")) +
                   words("{reason}; the test goes on, and cannot be resumed from here after a crash",
                         {{"reason", failure}}));
}

void RunHost::requestAbort() {
    quix5::StopRequest::make();
}

quix5::MessageBox2* RunHost::createMessageBox2(const zel::String& text, const zel::String& title) {
    return new TerminalPrompt(m_console, text, title);
}

/// The module opens the drive by its locator, in ways of its own: whatever it reached must be what was
/// confirmed.
bool RunHost::isHeldDrive(libDrive2::Drive& drive) {
    std::string difference;
    if (!m_held->isAsShown(difference)) {
        m_console.line(eventLabel(words("error:")) +
                       words("{reason}; nothing was written", {{"reason", difference}}));
        return false;
    }
    const libDrive2::DriveIdentity& held = m_held->identity();
    if (drive.isMediaRemovable() ||
        (drive.getSectorCount() == held.sectors && drive.getSectorSize() == held.sectorBytes))
        return true;
    m_console.line(eventLabel(words("error:")) +
                   words("the drive that was opened for the test has another size than the one that was "
                         "confirmed; nothing was written"));
    return false;
}

/// Some drives open, and then refuse the commands that move their sectors: there is nothing to test, and they
/// have told why.
bool RunHost::isRefused(libDrive2::Drive& drive) {
    if (drive.getSectorCount() != 0 || drive.isMediaRemovable() || drive.queryMediumInfo() ||
        drive.lastError != libDrive2::LIBDRIVE2_NOT_SUPPORTED)
        return false;
    m_reporter.runError({nullptr,
                         "driveNotOpened",
                         drive.getLastErrorStr().utf8(),
                         {},
                         {},
                         {},
                         drive.lastErrorShown().utf8()});
    return true;
}

quix5::TestResult RunHost::driveObtained(libDrive2::Drive& drive, const quix5::DiagDevice& device) {
    bool mayRun = !isRefused(drive) && (m_held == nullptr || isHeldDrive(drive));
    DriveAccess access{accessMethodOf(drive), drive.getSectorCount(), drive.getSectorSize(),
                       numberProperty(device, kPropertyProtectionType)};
    access.identity = m_facts.identity;
    if (m_progressTimer != nullptr && mayRun)
        access.transferSectors = drive.getOptimalRd(0xFFFF);
    access.properties = m_facts.properties;
    access.fingerprint = m_facts.fingerprint;
    mayRun = mayRun && isReachedAsBefore(access);
    const std::lock_guard lock(m_mutex);
    watch(drive);
    m_reporter.driveObtained(access);
    return mayRun ? quix5::TestResult::PASS : quix5::TestResult::CANNOTRUN;
}

/// Within the mutex.
void RunHost::watch(libDrive2::Drive& drive) {
    m_drive = &drive;
    m_statistics = m_resumed != nullptr
                       ? std::move(m_resumed->statistics)
                       : std::make_unique<DriveStatistics>(drive.getSectorCount(), drive.getSectorSize());
    if (m_slowLimit)
        m_statistics->setSlowLimit(*m_slowLimit);
    if (m_progressTimer != nullptr)
        m_statistics->keepChanges(
            [this](std::uint64_t sectors, std::uint32_t errors) { saveProgress(sectors, errors); });
    m_begun = zel::Clock::current().now();
    drive.setObserver(m_statistics.get());
    drive.setJournal(m_journal);
}

void RunHost::setResumed(ResumedRun* resumed) {
    m_resumed = resumed;
    m_errors = resumed->counts.errors;
    m_warnings = resumed->counts.warnings;
}

/// Else its chunks would be others than those that are done.
bool RunHost::isReachedAsBefore(const DriveAccess& access) {
    if (m_resumed == nullptr)
        return true;
    const RecordedDrive& before = m_resumed->run.drive;
    if (access.method == before.method && access.sectors == before.sectors &&
        access.sectorBytes == before.sectorBytes && access.transferSectors == m_resumed->transferSectors)
        return true;
    const zel::Wording text = zel::worded(
        "the drive is reached by another way than in the run that broke off ({before}, {n} sectors at once; "
        "now "
        "{now}, {m}), so that it cannot be gone on with here: connect it as before, or start a new run",
        {{"before", before.method},
         {"n", m_resumed->transferSectors},
         {"now", access.method},
         {"m", access.transferSectors}});
    m_reporter.runError({nullptr, "cannotResume", text.utf8(), {}, {}, {}, text.shown().utf8()});
    return false;
}

/// Many changes take memory.
void RunHost::saveProgress(std::uint64_t sectors, std::uint32_t errors) {
    constexpr std::size_t kMostChanges = 4096;
    if (!m_progressTimer->isDue() && m_statistics->changes() < kMostChanges)
        return;
    m_progressTimer->restart();
    const StatisticsState state = m_statistics->takeState();
    const zel::Clock::Duration before = m_resumed != nullptr ? m_resumed->spent : zel::Clock::Duration(0);
    m_reporter.progress({sectors, errors, counts(), before + zel::Clock::current().now() - m_begun,
                         static_cast<unsigned>(m_slowLimit.value_or(std::chrono::milliseconds(0)).count()),
                         m_slowAllowed, m_isHeatLimitStrict ? m_heat->limit().value_or(0) : 0,
                         m_heat != nullptr ? m_heat->course() : std::nullopt, state});
}

void RunHost::driveReleased() {
    // It points to the test, which is gone.
    m_drive->setCallback(nullptr);
    m_drive->setObserver(nullptr);
    m_statistics->finish();
    if (m_journal != nullptr)
        putBackLeftovers();
    m_drive->setJournal(nullptr);
    const std::lock_guard lock(m_mutex);
    m_drive = nullptr;
}

/// Some ways out of a test leave its chunk overwritten. No request to stop ends this: it is what a stop waits
/// for.
void RunHost::putBackLeftovers() {
    const auto isSameDrive = [this] {
        std::string difference;
        return m_held == nullptr || m_held->isUnchanged(difference);
    };
    const bool wasOwed = !m_journal->unrestored().empty();
    const libDrive2::RestoreOutcome outcome = m_drive->restoreProtected(isSameDrive);
    m_journal->narrowUnrestored(outcome.left);
    if (outcome.putBack > 0)
        m_console.line(eventIndent() +
                       zel::counted(outcome.putBack, "put back {n} sector that the test had left overwritten",
                                    "put back {n} sectors that the test had left overwritten"));
    else if (wasOwed && outcome.left.empty())
        m_console.line(eventIndent() + words("all sectors were compared: the drive holds all its data"));
    if (!outcome.left.empty())
        m_console.line(eventIndent() +
                       words("not everything could be put back: {reason}", {{"reason", outcome.reason}}));
}

/// The drive's own words, where an operation has just failed.
std::string RunHost::causeOf(quix5::EventType type) const {
    return m_drive != nullptr && type != quix5::EventType::INFORMATIVE ? m_drive->lastErrorWords().utf8()
                                                                       : std::string();
}

/// Why the drive takes no more transfers; empty when it does. A journal that fails is told at the end.
std::string RunHost::lossOfDrive(quix5::EventType type) {
    using enum libDrive2::_LIBDRIVE2_ERROR_TYPES;
    const auto error =
        m_drive != nullptr && type != quix5::EventType::INFORMATIVE ? m_drive->lastError : LIBDRIVE2_NO_ERROR;
    if (error == LIBDRIVE2_NO_ACCESS)
        m_lossOfAccess = m_drive->getLastErrorStr().utf8();
    const bool isOfDrive = error == LIBDRIVE2_NO_ACCESS || error == LIBDRIVE2_BUSY ||
                           error == LIBDRIVE2_WRITE_PROTECTED_MEDIUM ||
                           error == LIBDRIVE2_WRITE_PROTECTED_DEVICE;
    const bool isOfJournal = m_journal != nullptr && !m_journal->failure().empty();
    return isOfDrive && !isOfJournal ? m_drive->lastErrorShown().utf8() : std::string();
}

void RunHost::write(const zel::String& logger, int priority, const zel::String& text) {
    m_reporter.log(logger, priority, text);
}

}  // namespace drivetest
