#include "ReadSpeedTest.h"

#include "Events.h"
#include "Parameters.h"
#include "RangeSetup.h"
#include "zel/Clock.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "ReadSpeedTest";
constexpr std::uint32_t kChunkBytes = 2097152;

}  // namespace

ReadSpeedTest::ReadSpeedTest(Drive& tested) : SpeedTest(tested, kName) {}
ReadSpeedTest::ReadSpeedTest(libDrive2::SharedDrive tested) : SpeedTest(std::move(tested), kName) {}
ReadSpeedTest::~ReadSpeedTest() = default;

void ReadSpeedTest::init(Test& test) {
    DriveTest::init(test);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::readRateThreshold.addTo(test);
    parameters::warnOnBelowThreshold.addTo(test);
    events::readSpeedInfo.createOnce();
    events::readSpeedNotReached.createOnce();
    strings::speedTestInformationMessage.createOnce();
}

TestResult ReadSpeedTest::runTest() {
    const zel::TraceLogger trace(m_logger, "ReadSpeedTest::Run");
    ReadPass pass;
    if (const TestResult found = setUpDrive(pass.range); found != TestResult::PASS)
        return found;
    if (const TestResult setUp = RangeSetup(m_logger).takeWhole(pass.range); setUp != TestResult::PASS)
        return setUp;
    pass.sizes = planChunks(pass.range.sectorsToTest, kChunkBytes);
    const double threshold = parameters::readRateThreshold.value();
    if (threshold == 0.0)
        return reportInvalidParameters(m_logger, {parameters::readRateThreshold.item()});
    if (!allocateReadBuffer(pass.sizes))
        return TestResult::INTERNALERROR;
    logParameters(pass, threshold);
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_SILENT);
    drive->clearCache();
    drive->flushCache();
    drive->streamingTransfers = true;
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
    drive->planSectors(pass.range.sectorsToTest);
    return measure(pass);
}

void ReadSpeedTest::logParameters(const ReadPass& pass, double threshold) const {
    zel::Logger& log = m_logger;
    log.line(1, "=== ReadSpeedTest parameters ===");
    log.line(1, " Test Percent Req.      ", 100);
    log.line(1, " Sectors To Test:       ", pass.range.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", pass.range.startLba);
    log.line(1, " Divisor:               ", 1);
    log.line(1, " Last LBA:  (exclusive) ", pass.range.endLba);
    log.line(1, " Disk has Sectors:      ", pass.range.sectorCount);
    log.line(1, " Sector Size:           ", pass.range.sectorSize);
    log.line(1, " Sectors per Op:        ", pass.sizes.hint);
    log.line(1, " Read Threshold (MB/s): ", zel::formatted("%.2f MB/s", threshold));
    log.line(1, " Partial Chunk @        ", pass.sizes.fullChunksEnd);
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

TestResult ReadSpeedTest::measure(const ReadPass& pass) {
    const zel::Stopwatch watch;
    if (const auto ended = readRange(pass))
        return *ended;
    TestResult counted = getEventCountResult();
    if (counted != TestResult::PASS)
        return counted;
    const auto bytes = static_cast<double>(pass.range.sectorsToTest * pass.range.sectorSize);
    const Rate rate = readRate(megabytesPerSecond(bytes, watch.elapsedMilliseconds()));
    sendSpeedInfo(rate);
    checkThreshold(rate, counted);
    return counted;
}

}  // namespace libDriveTest
