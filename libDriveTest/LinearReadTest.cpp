#include "LinearReadTest.h"

#include "Parameters.h"
#include "zel/Buffer.h"

namespace libDriveTest {

namespace {

/// A chunk holds at most this part of the sectors to test.
constexpr std::uint64_t kChunkShares = 10;

zel::Logger& logger() {
    static zel::Logger& instance = zel::LogFactory::createLogger("libDriveTest.LinearReadTest");
    return instance;
}

}  // namespace

/// The working values of one run.
struct LinearReadTest::Pass {
    RangePlan range;
    ChunkPlan chunks;
    std::uint64_t divisor = 1;
    bool isolate = true;
    _LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR behavior = libDrive2::LIBDRIVE2_RETRY_AND_REPORT;
    zel::Buffer buffer;
};

LinearReadTest::~LinearReadTest() = default;

void LinearReadTest::init(Test& test) {
    DriveTest::init(test);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::numberOfSeeks.addTo(test);
    parameters::sectorPercentToTest.addTo(test);
    parameters::isolateFailedLBA.addTo(test);
}

TestResult LinearReadTest::runTest() {
    const zel::TraceLogger trace(logger(), "LinearReadTest::Run");
    Pass pass;
    if (const TestResult setUp = setUpRange(logger(), pass.range); setUp != TestResult::PASS)
        return setUp;
    pass.isolate = parameters::isolateFailedLBA.value();
    pass.divisor = pass.range.divisor();
    const bool hinting = parameters::xferSizeHinting.value();
    pass.chunks = ChunkPlan::make(pass.range, hinting,
                                  hinting ? drive->getOptimalRd(0xFFFF) : std::uint16_t{1}, kChunkShares);
    if (pass.chunks.bufferSize == 0)
        return TestResult::INTERNALERROR;
    pass.buffer = zel::Buffer(pass.chunks.bufferSize);
    logParameters(pass);
    pass.behavior = chunkBehavior(pass.chunks.blockCount, pass.isolate);
    drive->setRetryCallbackBehavior(pass.behavior);
    drive->planSectors(pass.range.sectorsToTest);
    return readChunks(pass);
}

void LinearReadTest::logParameters(const Pass& pass) const {
    zel::Logger& log = logger();
    log.line(1, "=== LinearReadTest parameters ===");
    log.line(1, " Test Percent Req.      ", toUnsigned(pass.range.fraction * 100));
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

TestResult LinearReadTest::readChunks(Pass& pass) {
    const RangePlan& range = pass.range;
    for (std::uint64_t i = 0; i < range.sectorsToTest; i += pass.chunks.blockCount) {
        if (hitEventLimits(true))
            break;
        const std::uint64_t lba = i * pass.divisor + range.startLba;
        const std::uint64_t percent = i * 100 / range.sectorsToTest;
        logger().line(1, "Testing LBA ", lba, " of ", range.endLba - 1, " (", pass.chunks.blockCount,
                      " sectors at a time) Percent: ", i, "/", range.sectorsToTest, " [", percent, "]");
        if (i == pass.chunks.fullChunkEnd)
            startPartialChunk(pass, lba);
        if (!drive->readSector(lba, pass.chunks.blockCount, pass.buffer.data(), pass.chunks.bufferSize))
            if (const auto ended = handleReadFailure(pass, lba))
                return *ended;
        DiagModule::percentDone(static_cast<int>(percent));
        if (DiagModule::checkForStop()) {
            reportUserAbort(lba);
            return TestResult::USERABORTED;
        }
    }
    return getEventCountResult();
}

void LinearReadTest::startPartialChunk(Pass& pass, std::uint64_t lba) {
    pass.chunks.blockCount = static_cast<std::uint16_t>(pass.range.sectorsToTest % pass.chunks.blockCount);
    pass.chunks.bufferSize = pass.chunks.blockCount * pass.range.sectorSize;
    // In force from here on, but narrowing still goes back to the behaviour of the full chunks.
    drive->setRetryCallbackBehavior(chunkBehavior(pass.chunks.blockCount, pass.isolate));
    logger().line(1, "Partial read @", lba, " for ", pass.chunks.blockCount);
}

std::optional<TestResult> LinearReadTest::handleReadFailure(Pass& pass, std::uint64_t lba) {
    const _LIBDRIVE2_ERROR_TYPES error = drive->lastError;
    if (isNonFailError(error)) {
        reportNonFailError(error);
        return getCurrentResult(error);
    }
    const std::uint16_t blockCount = pass.chunks.blockCount;
    logger().line(1, "Failed to read sector(s) [", blockCount, "] starting at LBA ", lba,
                  " into buffer of size: ", pass.chunks.bufferSize);
    if (blockCount < 2 || !pass.isolate) {
        reportRdErr(lba, blockCount);
        return std::nullopt;
    }
    bool sectorFailed = false;
    const FailedChunk chunk{lba, blockCount, pass.range.sectorSize, pass.buffer.data(), pass.behavior};
    return narrowReadFailure(logger(), chunk, sectorFailed);
}

}  // namespace libDriveTest
