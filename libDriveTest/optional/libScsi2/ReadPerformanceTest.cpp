#include "ReadPerformanceTest.h"

#include <algorithm>

#include "../../Events.h"
#include "../../Parameters.h"
#include "../../RangeSetup.h"
#include "BigEndian.h"
#include "zel/Clock.h"

namespace libDriveTest {

namespace {

using Descriptor = ::scsi::mmc_performance_nom_desc_t;

constexpr const char* kName = "ReadPerformanceTest";
constexpr std::uint32_t kSectorsPerRead = 32;
constexpr std::uint32_t kMaxDescriptors = 8;
constexpr std::uint16_t kHighestSpeed = 0xFFFF;  ///< SET CD SPEED (MMC-6)
constexpr std::uint32_t kMaxPassMs = 10000;

/// 1x in KB/s, in the order in which the kinds of media are looked for.
constexpr std::pair<std::uint32_t, std::uint32_t> kSingleSpeeds[] = {
    {libDrive2::kMediaCD, 150},
    {libDrive2::kMediaHDDVD, 4394},
    {libDrive2::kMediaDVD, 1352},
    {libDrive2::kMediaBD, 4394},
};

/// Between big-endian and the host's order, both ways.
Descriptor swapped(const Descriptor& descriptor) {
    return {swapBigEndian(descriptor.startLba), swapBigEndian(descriptor.startPerformance),
            swapBigEndian(descriptor.endLba), swapBigEndian(descriptor.endPerformance)};
}

}  // namespace

ReadPerformanceTest::ReadPerformanceTest(ScsiMMCDrive& tested)
    : OpticalReadTest(tested, kName, kSectorsPerRead) {}
ReadPerformanceTest::ReadPerformanceTest(SharedMMCDrive tested)
    : OpticalReadTest(std::move(tested), kName, kSectorsPerRead) {}
ReadPerformanceTest::~ReadPerformanceTest() = default;

void ReadPerformanceTest::init(Test& test) {
    DriveTestMMCRO::init(test);
    parameters::minRatePercent.addTo(test);
    addCommon(test);
}

TestResult ReadPerformanceTest::runTest() {
    const zel::TraceLogger trace(m_logger, "ReadPerformanceTest::Run");
    RangePlan range;
    if (const TestResult setUp = setUpMedium(range); setUp != TestResult::PASS)
        return setUp;
    const double percent = parameters::minRatePercent.value();
    if (percent == 0.0)
        return reportInvalidParameters(m_logger, {parameters::minRatePercent.item()});
    if (const TestResult checked = checkStretch(range); checked != TestResult::PASS)
        return checked;
    const std::uint32_t passes = parameters::testPassCount.value();
    if (!setHighestSpeed())
        return endOnLoss().value_or(TestResult::CANNOTRUN);
    auto expected = askForPerformance(range);
    if (!expected)
        expected = assumePerformance(range);
    if (!expected) {
        if (const auto lost = endOnLoss())
            return *lost;
        sendEvent(*events::cannotInitializeDevice, EventType::ERR);
        return TestResult::CANNOTRUN;
    }
    printStatistics(range, passes);
    return testPerformance(*expected, range.endLba - range.startLba, passes, percent);
}

bool ReadPerformanceTest::setHighestSpeed() {
    if (mmcDrive().setCDSpeed(0, kHighestSpeed, kHighestSpeed))
        return true;
    m_logger.line(1, "Set cd speed failed, try set performance");
    ::scsi::mmc_performance_desc_t defaults{};
    defaults.flags = 0x04 | 0x20;
    if (mmcDrive().setStreamingPerformance(defaults))
        return true;
    if (isNonFailError(drive->lastError))
        return false;
    events::advancedError->setVariable("errmsg", drive->getLastErrorStr());
    sendEvent(*events::advancedError, EventType::ERR);
    return false;
}

std::optional<Descriptor> ReadPerformanceTest::askForPerformance(const RangePlan& range) {
    Array<Descriptor> descriptors;
    if (!mmcDrive().getNominalPerformance(descriptors, kMaxDescriptors, false))
        return std::nullopt;
    m_logger.line(1, "retrieved ", static_cast<std::uint64_t>(descriptors.size()),
                  " nominal performance descriptors");
    if (descriptors.isEmpty())
        return std::nullopt;
    logDescriptor(descriptors[0]);
    Descriptor expected = descriptors[0];
    expected.startLba = swapBigEndian(static_cast<std::uint32_t>(range.startLba));
    expected.endLba = swapBigEndian(static_cast<std::uint32_t>(range.endLba));
    if (expected.endPerformance == 0)
        expected.endPerformance = swapBigEndian(swapBigEndian(expected.startPerformance) * 2);
    return expected;
}

void ReadPerformanceTest::logDescriptor(const Descriptor& descriptor) const {
    const Descriptor read = swapped(descriptor);
    m_logger.line(1, "using optical performance descriptor:");
    m_logger.line(1, "DESC START_LBA: ", read.startLba);
    m_logger.line(1, "DESC START_PERF: ", read.startPerformance, " KB/s");
    m_logger.line(1, "DESC END_LBA: ", read.endLba);
    m_logger.line(1, "DESC END_PERF: ", read.endPerformance, " KB/s");
    m_logger.line(1, "DESC COMPUTED AVG_PERF: ",
                  (std::uint64_t{read.startPerformance} + read.endPerformance) / 2, " KB/s");
}

std::optional<Descriptor> ReadPerformanceTest::assumePerformance(const RangePlan& range) {
    m_logger.line(3,
                  "GET_PERFORMANCE did not succeed, testing will be performed with a minimum boundary of 1x "
                  "speed");
    const std::uint32_t capabilities = mmcDrive().mediaCapabilties();
    for (const auto& [kind, speed] : kSingleSpeeds)
        if ((capabilities & kind) != 0)
            return swapped(Descriptor{static_cast<std::uint32_t>(range.startLba), speed,
                                      static_cast<std::uint32_t>(range.endLba), 2 * speed});
    return std::nullopt;
}

TestResult ReadPerformanceTest::testPerformance(const Descriptor& expected, std::uint64_t sectors,
                                                std::uint32_t passes, double minimumPercent) {
    const Descriptor read = swapped(expected);
    Stretch stretch;
    if (const TestResult cut = cutStretch(read, sectors, passes, stretch); cut != TestResult::PASS)
        return cut;
    const double minimum = read.startPerformance * minimumPercent / 100;
    m_logger.line(1, "TEST DESIRED MIN PERF: ", numberText(minimum), " KB/s");
    showSpeeds(zel::format("%u KB/s-%u KB/s", read.startPerformance, read.endPerformance),
               multiple(read.startPerformance) + "X-" + multiple(read.endPerformance) + "X");
    drive->planSectors(stretch.last - stretch.first);
    double best = 0;
    if (const auto ended = runPasses(stretch, passes, minimum, best))
        return *ended;
    if (hitEventLimits(false))
        return getEventCountResult();
    m_logger.line(1, "TOTAL Data Transfer Performance: ", numberText(best), " KB/s");
    if (best < minimum)
        reportTooSlow(best, minimum);
    return getEventCountResult();
}

std::optional<TestResult> ReadPerformanceTest::runPasses(const Stretch& stretch, std::uint32_t passes,
                                                         double minimum, double& best) {
    const std::uint64_t step = stepOf();
    const std::uint64_t spinUpFrom = stretch.first > step ? stretch.first - step : 0;
    for (std::uint32_t pass = 0; pass < passes && !hitEventLimits(false); ++pass) {
        DiagModule::percentDone(static_cast<int>(static_cast<double>(pass) / passes * 100));
        m_buffer = zel::Buffer(std::size_t{kSectorsPerRead} * kSectorBytes);
        if (stretch.first != 0)
            if (const auto ended = spinUp({spinUpFrom, stretch.first}))
                return ended;
        if (hitEventLimits(false))
            break;
        DiagModule::percentDone(static_cast<int>((2.0 * pass + 1) / (2.0 * passes) * 100));
        double rate = 0;
        if (const auto ended = timePass(stretch, rate))
            return ended;
        m_logger.line(1, "iteration : ", pass, " - kbps: ", numberText(rate));
        best = std::max(best, rate);
        if (best >= minimum) {
            m_logger.line(1, "Transfer rate meets minimum requirements: (kbps: ", numberText(rate),
                          ") exiting test loop");
            break;
        }
    }
    return std::nullopt;
}

std::optional<TestResult> ReadPerformanceTest::timePass(const Stretch& stretch, double& rate) {
    const zel::Stopwatch watch;
    m_logger.line(1, "START TIMED PERF TEST from ", stretch.first, " to ", stretch.last);
    std::uint64_t sectors = 0;
    const auto ended = readStretch(stretch, [&](std::uint64_t sectorsRead) {
        sectors = sectorsRead;
        if (watch.elapsedMilliseconds() <= kMaxPassMs)
            return true;
        m_logger.line(1, "Current loop is taking longer than max test time (", kMaxPassMs,
                      " ms) calculating transfer rate w/current amount transferred (", sectorsRead, ")");
        return false;
    });
    if (ended)
        return ended;
    const std::uint32_t elapsedMs = watch.elapsedMilliseconds();
    if (elapsedMs == 0) {
        sendEvent(*events::cannotOpenAccessDenied, EventType::WARNING);
        return TestResult::CANNOTRUN;
    }
    rate = rateOf(sectors, elapsedMs);
    return std::nullopt;
}

}  // namespace libDriveTest
