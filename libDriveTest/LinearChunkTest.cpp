#include "LinearChunkTest.h"

#include <string>

#include "ChunkSequence.h"
#include "DriveTestLogger.h"
#include "Parameters.h"
#include "RangeSetup.h"
#include "TimeLimit.h"

namespace libDriveTest {

namespace {

/// A chunk holds at most this part of the sectors to test.
constexpr std::uint64_t kChunkShares = 10;

}  // namespace

LinearChunkTest::LinearChunkTest(Drive& tested, const char* name)
    : DriveTest(tested), m_name(name), m_logger(loggerOf(name)) {}

LinearChunkTest::LinearChunkTest(libDrive2::SharedDrive tested, const char* name)
    : DriveTest(std::move(tested)), m_name(name), m_logger(loggerOf(name)) {}

LinearChunkTest::~LinearChunkTest() = default;

void LinearChunkTest::init(Test& test) {
    DriveTest::init(test);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::numberOfSeeks.addTo(test);
    parameters::sectorPercentToTest.addTo(test);
    parameters::isolateFailedLBA.addTo(test);
    parameters::maxTime.addTo(test);
    addGoingOn(test);
}

TestResult LinearChunkTest::runTest() {
    const std::string scope = std::string(m_name) + "::Run";
    const zel::TraceLogger trace(m_logger, scope.c_str());
    Pass pass;
    if (const TestResult found = setUpDrive(pass.range); found != TestResult::PASS)
        return found;
    if (const TestResult setUp = RangeSetup(m_logger).takeShare(pass.range); setUp != TestResult::PASS)
        return setUp;
    pass.isolate = parameters::isolateFailedLBA.value();
    pass.divisor = pass.range.divisor();
    pass.chunks = ChunkPlan::make(pass.range, *drive, kChunkShares);
    if (pass.chunks.bufferSize == 0)
        return TestResult::INTERNALERROR;
    allocate(pass.chunks.bufferSize);
    logParameters(pass);
    pass.behavior = chunkBehavior(pass.chunks.blockCount, pass.isolate);
    drive->setRetryCallbackBehavior(pass.behavior);
    drive->planSectors(pass.range.sectorsToTest);
    return testChunks(pass);
}

void LinearChunkTest::logParameters(const Pass& pass) const {
    zel::Logger& log = m_logger;
    log.line(1, "=== ", m_name, " parameters ===");
    log.line(1, " Test Percent Req.      ", toUnsigned(percentOf(pass.range.fraction)));
    log.line(1, " Sectors To Test:       ", pass.range.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", pass.range.startLba);
    log.line(1, " Divisor:               ", pass.divisor);
    log.line(1, " Last LBA:  (exclusive) ", pass.range.endLba);
    log.line(1, " Disk has Sectors:      ", pass.range.sectorCount);
    log.line(1, " Sector Size:           ", pass.range.sectorSize);
    log.line(1, " Opt. xfer blocks:      ", pass.chunks.blockCount);
    log.line(1, " Partial Chunk Read @   ", pass.chunks.fullChunkEnd);
    log.line(1, " Isolate Failing LBA    ", pass.isolate ? "yes" : "no");
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

TestResult LinearChunkTest::testChunks(Pass& pass) {
    const RangePlan& range = pass.range;
    const TimeLimit time;
    ChunkSequence sequence(range.sectorsToTest, pass.chunks.blockCount, kSpreadRunBytes / range.sectorSize,
                           time.isSet());
    std::uint64_t done = 0;
    if (const TestResult skipped = skipDone(m_logger, sequence, done); skipped != TestResult::PASS)
        return skipped;
    for (auto i = sequence.next(); i; i = sequence.next(), done += pass.chunks.blockCount) {
        if (hitEventLimits(true) || time.isUp())
            break;
        const std::uint64_t lba = *i * pass.divisor + range.startLba;
        const std::uint64_t percent = done * 100 / range.sectorsToTest;
        m_logger.line(1, "Testing LBA ", lba, " of ", range.endLba - 1, " (", pass.chunks.blockCount,
                      " sectors at a time) Percent: ", done, "/", range.sectorsToTest, " [", percent, "]");
        if (*i == pass.chunks.fullChunkEnd)
            startPartialChunk(pass, lba);
        if (const auto ended = testChunk(pass, lba))
            return *ended;
        drive->settleSectors(done + pass.chunks.blockCount, errorCount);
        DiagModule::percentDone(time.percent(percent));
        if (DiagModule::checkForStop()) {
            reportUserAbort(lba);
            return TestResult::USERABORTED;
        }
    }
    return getEventCountResult();
}

void LinearChunkTest::startPartialChunk(Pass& pass, std::uint64_t lba) {
    pass.chunks.blockCount = static_cast<std::uint16_t>(pass.range.sectorsToTest % pass.chunks.blockCount);
    pass.chunks.bufferSize = pass.chunks.blockCount * pass.range.sectorSize;
    // In force from here on, but narrowing still goes back to the behaviour of the full chunks.
    drive->setRetryCallbackBehavior(chunkBehavior(pass.chunks.blockCount, pass.isolate));
    m_logger.line(1, "Partial read @", lba, " for ", pass.chunks.blockCount);
}

std::optional<TestResult> LinearChunkTest::handleReadFailure(const Pass& pass, std::uint64_t lba,
                                                             zel::Buffer& buffer, bool& sectorFailed) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return ended;
    const std::uint16_t blockCount = pass.chunks.blockCount;
    m_logger.line(1, "Failed to read sector(s) [", blockCount, "] starting at LBA ", lba,
                  " into buffer of size: ", pass.chunks.bufferSize);
    if (blockCount < 2 || !pass.isolate) {
        reportRdErr(lba, blockCount);
        return std::nullopt;
    }
    return narrowReadFailure(pass, lba, buffer, sectorFailed);
}

std::optional<TestResult> LinearChunkTest::narrowReadFailure(const Pass& pass, std::uint64_t lba,
                                                             zel::Buffer& buffer, bool& sectorFailed) {
    const String errorText = drive->getLastErrorStr();
    const std::uint64_t last = lba + pass.chunks.blockCount - 1;
    sectorFailed = false;
    m_logger.line(3, zel::formatted("Error reading sectors %I64u through %I64u, due to: ", lba, last),
                  errorText);
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
    for (std::uint64_t sector = lba; sector <= last && !hitEventLimits(false); ++sector) {
        m_logger.line(1, "Narrowing read failure, by testing one sector at LBA: ", sector);
        std::uint8_t* const place = buffer.data() + (sector - lba) * pass.range.sectorSize;
        if (drive->readSector(sector, 1, place, pass.range.sectorSize))
            continue;
        if (const auto ended = endOnNonFail(drive->lastError))
            return ended;
        sectorFailed = true;
        reportRdErr(sector);
    }
    drive->setRetryCallbackBehavior(pass.behavior);
    if (!sectorFailed) {
        m_logger.line(4,
                      zel::formatted("Unable to isolate individual sectors in the range %I64u through %I64u, "
                                     "original error message: ",
                                     lba, last),
                      errorText);
        reportIsolationRecover(lba, pass.chunks.blockCount, errorText);
    }
    return std::nullopt;
}

}  // namespace libDriveTest
