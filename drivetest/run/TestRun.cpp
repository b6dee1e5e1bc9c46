#include "drivetest/run/TestRun.h"

#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "drivetest/ExitStatus.h"
#include "drivetest/health/HealthReader.h"
#include "drivetest/resume/ResumedRun.h"
#include "drivetest/run/HurryWatch.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Labels.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/ProgressDisplay.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceOpeners.h"
#include "quix5/DiagModule.h"
#include "quix5/ParameterText.h"
#include "quix5/Runner.h"
#include "quix5/StopRequest.h"
#include "zel/Resource.h"
#include "zel/Words.h"

namespace drivetest {

using quix5::TestResult;

namespace {

using zel::words;

/// Degrees Celsius at which a drive that is read gently rests: what vendors allow for long, less a few.
constexpr std::int64_t kGentleDisk = 55;
constexpr std::int64_t kGentleFlash = 70;

std::vector<std::string> usersOf(libDrive2::DeviceLease& lease) {
    std::vector<std::string> users;
    for (const zel::String& user : lease.users())
        users.push_back(user.utf8());
    return users;
}

/// What is valid for the parameters in "NAME:VALUE, NAME:VALUE".
void describeParameters(const quix5::Test& test, const zel::String& refused, Console& console) {
    for (const zel::String& item : refused.tokenize(", "))
        if (const zel::Array<zel::String> name = item.tokenize(":");
            !name.isEmpty() && quix5::findParameter(test, name[0]) != nullptr)
            console.line(eventIndent() + words("{problem}: {reason}",
                                               {{"problem", name[0]},
                                                {"reason", describeText("Parameter." + name[0].utf8())}}));
}

/// Nobody could answer without a terminal; and what was confirmed is the drive with the medium that it had.
bool mayPrompt(const RunOptions& options, const ChosenTest& chosen) {
    return options.prompts && isTerminal(stdin) && (!chosen.writes || chosen.isOptical());
}

}  // namespace

TestRun::TestRun(const RunOptions& options, TakenDrive& drive, RunOutputs& outputs, Console& console)
    : m_options(options),
      m_chosen(drive.chosen),
      m_drive(drive),
      m_outputs(outputs),
      m_console(console),
      m_host(console, outputs.reporters(), mayPrompt(options, drive.chosen)) {
    m_host.setJournal(drive.journal.watched());
    if (options.slowMs != 0)
        m_host.setSlowLimit(std::chrono::milliseconds(options.slowMs));
    followProgress();
    if (!drive.held.isHeld())
        return;
    m_host.setHeldDrive(&drive.held);
    m_watch.emplace([&drive] { return usersOf(drive.held.lease()); });
    m_host.setUseWatch(&*m_watch);
}

/// What a run needs that goes on from this one, and from what this one goes on.
void TestRun::followProgress() {
    const auto identity = m_drive.identity();
    m_host.setDriveFacts({identity ? identity->toText() : std::string(), m_options.properties,
                          m_drive.fingerprint ? &*m_drive.fingerprint : nullptr});
    m_host.setSlowAllowed(m_options.slowAllowed);
    if (m_options.resumed != nullptr)
        m_host.setResumed(m_options.resumed.get());
    if (m_chosen.test->entry->traits.sectorsDone == nullptr)
        return;
    m_progressTimer.emplace(std::chrono::seconds(m_options.saveProgress));
    m_host.setProgressTimer(&*m_progressTimer);
}

/// Of a run that is gone on with, the health before is that before its first part.
void TestRun::tellHealthBefore() {
    if (m_options.resumed == nullptr)
        tellHealth(HealthTime::beforeTest);
    else if (const auto& before = m_options.resumed->run.healthBefore; before)
        m_outputs.reporters().health(HealthTime::beforeTest, *before);
}

int TestRun::execute() {
    m_outputs.reporters().begin(
        {m_chosen.test->descriptor, m_chosen.device, m_options.commandLine, m_options.resumed.get()});
    // All who need them have them.
    if (m_options.resumed != nullptr)
        m_options.resumed->lines = {};
    watchHeat();
    tellHealthBefore();
    if (const WatchedJournal* const watched = m_drive.journal.watched(); watched != nullptr)
        tellStake(watched->outlivesCrash() ? AtStake::journaledSectors : AtStake::unprotectedSectors);
    return end(explainStop(runTest()));
}

void TestRun::tellStake(AtStake stake) {
    setAtStake(stake);
    if (m_link != nullptr)
        m_link->tellStake(stake, m_drive.journal.path());
}

/// The drive is in hand, and nothing is transferred.
/// By the drive's own commands: smartctl may take seconds.
void TestRun::watchHeat() {
    const bool isFlash = m_chosen.device.hasCapability(quix5::DeviceCapability::NVME);
    std::optional<std::int64_t> limit;
    if (m_options.maxTemperature != 0)
        limit = m_options.maxTemperature;
    else if (m_options.gentle)
        limit = isFlash ? kGentleFlash : kGentleDisk;
    std::function<std::optional<std::int64_t>()> read;
    if (libDrive2::HealthMonitor::isFor(m_chosen.device))
        read = [this] { return readTemperature(); };
    m_heat.emplace(std::move(read), limit);
    if (const ResumedRun* const resumed = m_options.resumed.get(); resumed != nullptr && resumed->heat)
        m_heat->goOnAfter(*resumed->heat);
    m_host.setHeatWatch(&*m_heat, m_options.maxTemperature != 0);
}

/// Opened when it is needed: a short run never asks.
std::optional<std::int64_t> TestRun::readTemperature() {
    if (m_thermometer == nullptr)
        m_thermometer = libDrive2::HealthMonitor::open(m_chosen.device);
    return m_thermometer != nullptr ? m_thermometer->readTemperature() : std::nullopt;
}

void TestRun::tellHealth(HealthTime when) {
    const auto reading = readHealth(m_chosen.device);
    if (!reading)
        return;
    if (m_heat && reading->health.temperatureC)
        m_heat->note(*reading->health.temperatureC);
    m_outputs.reporters().health(when, *reading);
}

TestResult TestRun::runTest() {
    RestClock clock;
    m_host.setRestClock(&clock);
    quix5::Host* const previousHost = quix5::DiagModule::install(&m_host);
    zel::LogSink* const previousSink = zel::LogFactory::setSink(&m_host);
    TestResult result;
    {
        std::optional<ProgressDisplay> display;
        if (!m_options.quiet)
            display.emplace(m_console, m_chosen.test->descriptor.name().utf8() + " " + m_options.device,
                            Forecast(describeText("Shorter." + m_chosen.test->descriptor.name().utf8()),
                                     std::chrono::seconds(m_options.maxTime)),
                            [this] { return m_host.snapshot(); });
        const HurryWatch hurry([this] { m_host.giveUpAttempts(); });
        const ShelfLink::Telling telling(m_link, [this] { return m_host.snapshot(); });
        // What stood in the way may be gone by now, but nothing was prepared for writing.
        const bool writes = m_chosen.writes && !m_drive.obstacle;
        const std::uint32_t access = libDrive2::kAccessRead | (writes ? libDrive2::kAccessWrite : 0);
        result = quix5::runTest(*m_chosen.test, m_chosen.device,
                                {access, libDrive2::kShareRead | libDrive2::kShareWrite}, m_host);
    }
    zel::LogFactory::setSink(previousSink);
    quix5::DiagModule::install(previousHost);
    m_host.setRestClock(nullptr);
    return result;
}

/// The program stops tests, too, without anybody having asked for it.
TestResult TestRun::explainStop(const TestResult& result) const {
    if (result != TestResult::USERABORTED || quix5::StopRequest::made())
        return result;
    const WatchedJournal* const watched = m_drive.journal.watched();
    if (OutputQueue::hasStandardFailed())
        return TestResult::INTERNALERROR;
    if (m_host.isDisturbed())
        return TestResult::DEVICEBUSY;
    if (m_host.isTooHot() || (watched != nullptr && !watched->failure().empty()))
        return m_host.counts().errors > 0 ? TestResult::FAIL : TestResult::CANNOTRUN;
    return result;
}

int TestRun::end(const TestResult& result) {
    const bool isDataMissing = !settleJournal();
    tellStake(AtStake::nothing);
    explain(result);
    // A drive that was lost would let every question wait for its time to run out.
    if (m_host.statistics() != nullptr && m_host.lossOfAccess().empty())
        tellHealth(HealthTime::afterTest);
    TestResult judged = judgeSlowness(result);
    judged.merge(resultBefore());
    if (isDataMissing)
        judged.merge(TestResult::FAIL);
    RunSummary summary{
        judged, m_host.counts(), m_host.statistics(), isDataMissing, m_outputs.badSectorsList(), {}, {}, {}};
    if (m_link != nullptr)
        summary.sharedLinks = m_link->sharing();
    if (m_heat)
        summary.heat = m_heat->course();
    summary.grade = m_outputs.grade(summary);
    m_outputs.reporters().end(summary);
    tellOfRest(judged);
    return m_outputs.close(isDataMissing ? kExitNotRestored : exitStatusOf(judged), m_console);
}

/// Of what the run goes on from: what was told of the drive there counts for all of it.
TestResult TestRun::resultBefore() const {
    if (m_options.resumed == nullptr)
        return TestResult::PASS;
    const EventCounts& counts = m_options.resumed->counts;
    return counts.errors > 0 ? TestResult::FAIL : counts.warnings > 0 ? TestResult::WARN : TestResult::PASS;
}

/// False when sectors were not put back.
bool TestRun::settleJournal() {
    RunJournal& journal = m_drive.journal;
    if (journal.watched() != nullptr && !journal.watched()->unrestored().empty())
        m_outputs.reporters().unrestored(journal.watched()->unrestored(), journal.path());
    return journal.finish(m_options.device, m_console);
}

/// What the result alone does not say.
void TestRun::explain(const TestResult& result) {
    const zel::Wording reason = libDrive2::lastOpenErrorStr();
    const zel::Wording lost =
        zel::worded("{device} could be opened, and stopped taking commands while it was tested",
                    {{"device", m_options.device}});
    const std::optional<Obstacle>& obstacle = m_drive.obstacle;
    const char* const mediaText = m_chosen.test->entry->traits.mediaText;
    if (obstacle && obstacle->isKnownToTest && exitStatusOf(result) == obstacle->status)
        m_console.line(eventIndent() + words("{reason}; {advice}",
                                             {{"reason", obstacle->reason}, {"advice", obstacle->advice}}));
    else if (result == TestResult::DEVICEBUSY && !m_drive.held.failure().ok())
        m_console.line(eventIndent() + m_drive.held.failure().text.shown().utf8());
    else if (m_host.statistics() == nullptr && result == TestResult::CANNOTRUN && !reason.isEmpty())
        m_outputs.reporters().runError(
            {nullptr, "driveNotOpened", reason.utf8(), {}, {}, {}, reason.shown().utf8()});
    else if (result == TestResult::CANNOTRUN && !m_host.lossOfAccess().empty())
        m_outputs.reporters().runError(
            {nullptr, "driveLost", lost.utf8(), m_host.lossOfAccess(), {}, {}, lost.shown().utf8()});
    else if (result == TestResult::BADPARAMS)
        describeParameters(m_chosen.test->descriptor, m_host.refusedValues(), m_console);
    else if (result == TestResult::INCORRECTMEDIA && mediaText != nullptr)
        m_console.line(eventIndent() + describeText(mediaText));
}

/// Where the time did not suffice for all.
void TestRun::tellOfRest(const TestResult& result) {
    const DriveStatistics* const statistics = m_host.statistics();
    if (m_options.maxTime == 0 || statistics == nullptr || statistics->coverage().skipped == 0 ||
        !(result == TestResult::PASS || result == TestResult::WARN || result == TestResult::FAIL))
        return;
    if (m_options.survey) {
        offerFullRead(*statistics);
        return;
    }
    const Coverage& coverage = statistics->coverage();
    const double percent = 100 * static_cast<double>(coverage.tested + coverage.failed) /
                           static_cast<double>(coverage.requested);
    const std::string share = decimalText(percent, percent < 10 ? 2 : 0);
    m_console.line(summaryLabel(words("covered")) +
                   (m_options.gentle
                        ? words("{percent} % of the area; --import goes on where --export ddrescue ended",
                                {{"percent", share}})
                        : words("{percent} % of the area, spread evenly over it, when the time was up",
                                {{"percent", share}})));
}

void TestRun::offerFullRead(const DriveStatistics& statistics) {
    const TransferTotals read = statistics.totals(libDrive2::DriveOperation::read);
    if (read.bytes == 0)
        return;
    const double times = static_cast<double>(statistics.coverage().requested) * statistics.sectorBytes() /
                         static_cast<double>(read.bytes);
    const auto whole = std::chrono::duration_cast<std::chrono::nanoseconds>(read.elapsed * times);
    m_console.line(summaryLabel(words("next")) +
                   words("all of it can be read in about {time}: {command}",
                         {{"time", forecastText(whole)},
                          {"command", "drivetest run read " + printable(m_options.device)}}));
}

/// A drive that is slow beyond what the user allows.
TestResult TestRun::judgeSlowness(const TestResult& result) const {
    const DriveStatistics* const statistics = m_host.statistics();
    if (m_options.slowMs == 0 || statistics == nullptr)
        return result;
    const std::uint64_t slow = statistics->slowTransfers().beyondLimit();
    if (slow <= m_options.slowAllowed)
        return result;
    m_console.line(
        eventLabel(words("warning:")) +
        zel::counted(slow,
                     "{n} transfer took longer than {limit} ms, and {allowed} may (--slow-ms, --slow-count)",
                     "{n} transfers took longer than {limit} ms, and {allowed} may (--slow-ms, --slow-count)",
                     {{"limit", m_options.slowMs}, {"allowed", m_options.slowAllowed}}));
    TestResult judged = result;
    judged.merge(TestResult::WARN);
    return judged;
}

}  // namespace drivetest
