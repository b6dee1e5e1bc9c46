#include "DefaultReadPerformanceTest.h"

#include "../../Events.h"
#include "../../Parameters.h"
#include "../../RangeSetup.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "DefaultReadPerformanceTest";
constexpr std::uint32_t kSectorsPerRead = 31;
constexpr std::uint64_t kSpinUpSectors = 5000;
constexpr std::uint32_t kSampleMs = 500;
constexpr int kMaxSamples = 9;

std::uint64_t movedDown(std::uint64_t lba, std::uint64_t step) {
    return static_cast<std::int64_t>(lba) > static_cast<std::int64_t>(step) ? lba - step : 0;
}

}  // namespace

DefaultReadPerformanceTest::DefaultReadPerformanceTest(ScsiMMCDrive& tested)
    : OpticalReadTest(tested, kName, kSectorsPerRead) {}
DefaultReadPerformanceTest::DefaultReadPerformanceTest(SharedMMCDrive tested)
    : OpticalReadTest(std::move(tested), kName, kSectorsPerRead) {}
DefaultReadPerformanceTest::~DefaultReadPerformanceTest() = default;

void DefaultReadPerformanceTest::init(Test& test) {
    DriveTestMMCRO::init(test);
    parameters::minRate.addTo(test);
    parameters::maxRate.addTo(test);
    addCommon(test);
    events::speedExceeded.createOnce();
}

TestResult DefaultReadPerformanceTest::runTest() {
    const zel::TraceLogger trace(m_logger, "DefaultReadPerformanceTest::Run");
    RangePlan range;
    if (const TestResult setUp = setUpMedium(range); setUp != TestResult::PASS)
        return setUp;
    const std::uint32_t minimum = parameters::minRate.value();
    const std::uint32_t maximum = parameters::maxRate.value();
    if (maximum != 0 && maximum < minimum)
        return reportInvalidParameters(m_logger, {parameters::minRate.item(), parameters::maxRate.item()});
    if (const TestResult checked = checkStretch(range); checked != TestResult::PASS)
        return checked;
    const std::uint32_t passes = parameters::testPassCount.value();
    const ::scsi::mmc_performance_nom_desc_t bounds{static_cast<std::uint32_t>(range.startLba), minimum,
                                                    static_cast<std::uint32_t>(range.endLba), maximum};
    printStatistics(range, passes);
    return testPerformance(bounds, range.endLba - range.startLba, passes);
}

TestResult DefaultReadPerformanceTest::testPerformance(const ::scsi::mmc_performance_nom_desc_t& descriptor,
                                                       std::uint64_t sectors, std::uint32_t passes) {
    Stretch stretch;
    if (const TestResult cut = cutStretch(descriptor, sectors, passes, stretch); cut != TestResult::PASS)
        return cut;
    const Bounds bounds{static_cast<double>(descriptor.startPerformance),
                        static_cast<double>(descriptor.endPerformance)};
    m_logger.line(1, "TEST DESIRED MIN PERF: ", numberText(bounds.minimum), " KB/s");
    m_logger.line(1, "TEST DESIRED MAX PERF: ", numberText(bounds.maximum), " KB/s");
    showBounds(bounds);
    drive->planSectors(stretch.last - stretch.first);
    double rate = 0;
    if (const auto ended = runPasses(stretch, passes, bounds.minimum, rate))
        return *ended;
    return judge(rate, bounds);
}

void DefaultReadPerformanceTest::showBounds(const Bounds& bounds) {
    const auto minimum = static_cast<std::uint32_t>(bounds.minimum);
    const auto maximum = static_cast<std::uint32_t>(bounds.maximum);
    if (maximum == 0)
        showSpeeds(zel::format("%u KB/s-MAX", minimum), multiple(bounds.minimum) + "X-MAX");
    else
        showSpeeds(zel::format("%u KB/s-%u KB/s", minimum, maximum),
                   multiple(bounds.minimum) + "X-" + multiple(bounds.maximum) + "X");
}

std::optional<TestResult> DefaultReadPerformanceTest::runPasses(Stretch stretch, std::uint32_t passes,
                                                                double minimum, double& rate) {
    const std::uint64_t step = stepOf();
    for (std::uint32_t pass = 0; pass < passes && !hitEventLimits(false); ++pass) {
        DiagModule::percentDone(static_cast<int>(static_cast<double>(pass) / (passes + 1.0) * 100));
        m_buffer = zel::Buffer(std::size_t{kSectorsPerRead} * kSectorBytes);
        if (pass == 1 && stretch.first != 0)
            if (const auto ended = spinUp({stretch.first, stretch.first + kSpinUpSectors}))
                return ended;
        if (hitEventLimits(false))
            break;
        if (const auto ended = timePass(stretch, rate))
            return ended;
        if (!hitEventLimits(false) && rate >= minimum)
            break;
        // A stretch further inside may suit the drive better.
        if (pass == 0 && passes >= 2)
            stretch = {movedDown(stretch.first, step), movedDown(stretch.last, step)};
    }
    return std::nullopt;
}

std::optional<TestResult> DefaultReadPerformanceTest::timePass(const Stretch& stretch, double& rate) {
    const zel::Stopwatch watch;
    m_logger.line(1, "START TIMED PERF TEST from ", stretch.first, " to ", stretch.last);
    rate = 0;
    std::uint32_t lastSampleMs = 0;
    int samples = 0;
    return readStretch(stretch, [&](std::uint64_t sectorsRead) {
        const std::uint32_t elapsedMs = watch.elapsedMilliseconds();
        if (elapsedMs - lastSampleMs <= kSampleMs)
            return true;
        lastSampleMs = elapsedMs;
        rate = rateOf(sectorsRead, elapsedMs);
        if (m_logger.allows(1))
            m_logger.line(1, "kbps sample @ ", elapsedMs, " = ", numberText(rate), " (", multiple(rate),
                          ") total read amount ", sectorsRead);
        return ++samples < kMaxSamples;
    });
}

TestResult DefaultReadPerformanceTest::judge(double rate, const Bounds& bounds) {
    if (hitEventLimits(false))
        return getEventCountResult();
    m_logger.line(1, "Calc transfer rate : ", numberText(rate));
    if (rate < bounds.minimum) {
        reportTooSlow(rate, bounds.minimum);
    } else if (bounds.maximum != 0 && rate > bounds.maximum) {
        m_logger.line(3, "The calculated transfer rate (", numberText(rate),
                      " KB/s) is greater than the maximum (", numberText(bounds.maximum), " KB/s)");
        sendSpeedEvent(*events::speedExceeded, bounds.maximum, rate);
    }
    return getEventCountResult();
}

}  // namespace libDriveTest
