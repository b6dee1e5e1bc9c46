#include "SurveyReadTest.h"

#include <algorithm>
#include <chrono>
#include <random>

#include "../DriveTestLogger.h"
#include "../Events.h"
#include "../Parameters.h"
#include "../RangeSetup.h"
#include "../TimeLimit.h"
#include "GentleOrder.h"
#include "SampleBound.h"
#include "SampleOrder.h"
#include "SectorRanges.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "SurveyReadTest";
constexpr std::uint32_t kAreaBytes = 4U << 20;
constexpr double kCertainty = 0.99;
constexpr std::chrono::seconds kRest{5};

}  // namespace

SurveyReadTest::SurveyReadTest(Drive& tested) : DriveTest(tested), m_logger(loggerOf(kName)) {}
SurveyReadTest::SurveyReadTest(libDrive2::SharedDrive tested)
    : DriveTest(std::move(tested)), m_logger(loggerOf(kName)) {}
SurveyReadTest::~SurveyReadTest() = default;

void SurveyReadTest::init(Test& test) {
    DriveTest::init(test);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::onlyRanges.addTo(test);
    parameters::surveyMethod.addTo(test);
    parameters::maxTime.addTo(test);
    events::surveySample.createOnce();
    events::surveyBadAreas.createOnce();
    events::surveyTooShort.createOnce();
}

TestResult SurveyReadTest::runTest() {
    const zel::TraceLogger trace(m_logger, "SurveyReadTest::Run");
    RangePlan range;
    if (const TestResult found = setUpDrive(range); found != TestResult::PASS)
        return found;
    if (const TestResult setUp = RangeSetup(m_logger).takeWhole(range); setUp != TestResult::PASS)
        return setUp;
    m_sectorSize = range.sectorSize;
    m_chunk = ChunkPlan::make(range, *drive, 1).blockCount;
    const std::uint32_t bytes = bufferBytes(m_sectorSize, m_chunk);
    if (bytes == 0)
        return TestResult::INTERNALERROR;
    m_buffer = zel::Buffer(bytes);
    m_time = TimeLimit();
    m_done = 0;
    return parameters::surveyMethod.value().toLower() == "gentle" ? readGently(range) : readSample(range);
}

TestResult SurveyReadTest::readSample(const RangePlan& range) {
    if (!parameters::onlyRanges.value().isEmpty())
        return reportInvalidParameters(m_logger,
                                       {parameters::onlyRanges.item(), parameters::surveyMethod.item()});
    m_sectors = range.sectorsToTest;
    drive->planSectors(m_sectors);
    SampleOrder order({.range = {range.startLba, range.sectorsToTest},
                       .areaSectors = std::max<std::uint32_t>(kAreaBytes / m_sectorSize, 1),
                       .chunkSectors = m_chunk,
                       .time = m_time.granted(),
                       .seed = std::random_device()()});
    const TestResult ended = readAll(order);
    tellOfSample(order, ended);
    return ended;
}

TestResult SurveyReadTest::readGently(const RangePlan& range) {
    const auto ranges =
        readSectorRanges(parameters::onlyRanges.value(), {range.startLba, range.sectorsToTest});
    if (!ranges || ranges->empty())
        return reportInvalidParameters(m_logger, {parameters::onlyRanges.item()});
    m_sectors = 0;
    for (const libDrive2::SectorSpan& each : *ranges)
        m_sectors += each.count;
    drive->planSectors(m_sectors);
    GentleOrder order(*ranges, m_chunk);
    return readAll(order);
}

TestResult SurveyReadTest::readAll(ReadingOrder& order) {
    m_isLimitTold = false;
    m_unclear.clear();
    m_told.clear();
    m_latency = LatencyWatch();
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_REPORT_ONLY);
    while (const auto reading = order.next()) {
        if (isOver())
            break;
        m_logger.line(1, "Reading LBA ", reading->lba, " (", reading->count,
                      reading->singly ? " one by one)" : ")");
        Finding finding{};
        if (const auto ended = read(*reading, finding))
            return *ended;
        order.note(finding);
        DiagModule::percentDone(m_time.percent(m_done * 100 / (m_sectors + 1)));
        if (DiagModule::checkForStop()) {
            reportUserAbort(reading->lba);
            return TestResult::USERABORTED;
        }
        restIfSlower(finding);
    }
    tellOfUnclear();
    return getEventCountResult();
}

/// Tells of a limit of errors, once.
bool SurveyReadTest::isOver() {
    if (m_time.isUp())
        return true;
    const bool isLimitHit = hitEventLimits(!m_isLimitTold);
    m_isLimitTold = m_isLimitTold || isLimitHit;
    return isLimitHit;
}

std::optional<TestResult> SurveyReadTest::read(const Reading& reading, Finding& finding) {
    const zel::Stopwatch watch;
    std::optional<TestResult> ended;
    if (reading.singly) {
        ended = readSingly(reading);
    } else {
        finding.isGood =
            drive->readSector(reading.lba, reading.count, m_buffer.data(), reading.count * m_sectorSize);
        if (finding.isGood)
            m_done += reading.count;
        else
            ended = endOnNonFail(drive->lastError);
        if (!finding.isGood && !ended)
            m_unclear.push_back({reading.lba, reading.count, drive->getLastErrorStr()});
    }
    finding.took = watch.elapsed();
    return ended;
}

/// The chunk has failed: which of its sectors are bad?
std::optional<TestResult> SurveyReadTest::readSingly(const Reading& reading) {
    std::uint32_t found = 0;
    for (std::uint32_t at = 0; at < reading.count; ++at, ++m_done) {
        if (isOver() || (reading.mostBad != 0 && found == reading.mostBad)) {
            drive->skipSectors(reading.lba + at, reading.count - at);
            return std::nullopt;
        }
        const std::uint64_t lba = reading.lba + at;
        if (!m_told.contains(lba)) {
            if (drive->readSector(lba, 1, m_buffer.data() + std::size_t{at} * m_sectorSize, m_sectorSize))
                continue;
            if (const auto ended = endOnNonFail(drive->lastError))
                return ended;
            reportRdErr(lba);
            if (reading.mostBad != 0)
                m_told.insert(lba);
        }
        ++found;
        clear(reading.lba);
        if (DiagModule::checkForStop()) {
            reportUserAbort(lba);
            return TestResult::USERABORTED;
        }
    }
    if (found == 0)
        reportIsolationRecover(reading.lba, reading.count, clear(reading.lba));
    return std::nullopt;
}

/// It is known now what is wrong with this chunk: gives what the drive said of it.
String SurveyReadTest::clear(std::uint64_t lba) {
    const auto chunk = std::ranges::find(m_unclear, lba, &Unclear::lba);
    if (chunk == m_unclear.end())
        return {};
    String said = chunk->said;
    m_unclear.erase(chunk);
    return said;
}

/// Where no time was left to look for the sectors, their chunks are errors, too; neighbours are one.
void SurveyReadTest::tellOfUnclear() {
    std::ranges::sort(m_unclear, {}, &Unclear::lba);
    for (std::size_t i = 0, end = 0; i < m_unclear.size() && !hitEventLimits(false); i = end) {
        for (end = i + 1; end < m_unclear.size() && m_unclear[end].lba == m_unclear[end - 1].end();)
            ++end;
        events::readSectorRangeErr->setVariable("sector", m_unclear[i].lba)
            ->setVariable("lastSector", m_unclear[end - 1].end() - 1);
        sendEvent(*events::readSectorRangeErr, EventType::ERR);
    }
}

/// Where the drive takes longer and longer.
void SurveyReadTest::restIfSlower(const Finding& finding) {
    if (!m_latency.add(finding.took) || m_time.isUp())
        return;
    m_logger.line(1, "Resting");
    zel::Clock::current().sleep(kRest);
}

/// What a stop or a lost drive cut short still proves something; why it proves no more they say themselves.
void SurveyReadTest::tellOfSample(const SampleOrder& order, const TestResult& ended) {
    if (order.isComplete())
        return;
    if (order.badAreas() != 0) {
        events::surveyBadAreas->setVariable("BadAreas", order.badAreas())
            ->setVariable("AreaMiB", std::uint64_t{kAreaBytes >> 20U});
        sendEvent(*events::surveyBadAreas, EventType::INFORMATIVE);
        return;
    }
    if (order.samples() == 0) {
        if (ended == TestResult::PASS || ended == TestResult::WARN)
            sendEvent(*events::surveyTooShort, EventType::INFORMATIVE);
        return;
    }
    events::surveySample->setVariable("Samples", order.samples())
        ->setVariable("Areas", order.areas())
        ->setVariable("AreaMiB", std::uint64_t{kAreaBytes >> 20U})
        ->setVariable("Certainty", static_cast<std::uint64_t>(100 * kCertainty))
        ->setVariable("Bound", excludedBadAreas(order.areas(), order.samples(), kCertainty));
    sendEvent(*events::surveySample, EventType::INFORMATIVE);
}

}  // namespace libDriveTest
