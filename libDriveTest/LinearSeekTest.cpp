#include "LinearSeekTest.h"

#include "SeekMove.h"

namespace libDriveTest {

namespace {

/// Progress and stop requests are looked after once in so many moves.
constexpr std::uint64_t kMovesBetweenChecks = 10;

zel::Logger& logger() {
    static zel::Logger& instance = zel::LogFactory::createLogger("libDriveTest.LinearSeekTest");
    return instance;
}

}  // namespace

/// The working values of one run.
struct LinearSeekTest::Pass {
    SeekMove move;
    RangePlan range;
    std::uint64_t divisor = 1;
};

LinearSeekTest::~LinearSeekTest() = default;

void LinearSeekTest::init(Test& test) {
    DriveTest::init(test);
    SeekMove::addParameters(test);
}

TestResult LinearSeekTest::runTest() {
    const zel::TraceLogger trace(logger(), "LinearSeekTest::Run");
    Pass pass;
    if (const TestResult setUp = setUpRange(logger(), pass.range); setUp != TestResult::PASS)
        return setUp;
    pass.divisor = pass.range.divisor();
    if (!pass.move.prepare(pass.range.sectorSize))
        return TestResult::INTERNALERROR;
    logParameters(pass.range);
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
    drive->planSectors(pass.range.sectorsToTest);
    return seek(pass);
}

/// The line called exclusive shows the last sector itself, the one called last TEST sector what follows it.
void LinearSeekTest::logParameters(const RangePlan& range) const {
    zel::Logger& log = logger();
    log.line(1, "=== LinearSeekTest parameters ===");
    log.line(1, " Sectors To Test:       ", range.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", range.startLba);
    log.line(1, " Divisor:               ", range.divisor());
    log.line(1, " Last LBA:  (exclusive) ", range.endLba - 1);
    log.line(1, " Disk has Sectors:      ", range.sectorCount);
    log.line(1, " Last TEST Sector:      ", range.endLba);
    log.line(1, " Sector Size:           ", range.sectorSize);
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

TestResult LinearSeekTest::seek(Pass& pass) {
    const RangePlan& range = pass.range;
    for (std::uint64_t i = 0; i < range.sectorsToTest; ++i) {
        if (hitEventLimits(true))
            break;
        const SeekStep step{i, range.sectorsToTest, i * pass.divisor + range.startLba};
        logSeekStep(logger(), step, range.endLba);
        if (!pass.move.to(*drive, step.lba))
            if (const auto ended = handleFailure(step.lba))
                return *ended;
        if (i % kMovesBetweenChecks != 0)
            continue;
        DiagModule::percentDone(static_cast<int>(step.percent()));
        if (DiagModule::checkForStop()) {
            reportUserAbort(step.lba);
            return TestResult::USERABORTED;
        }
    }
    return getEventCountResult();
}

std::optional<TestResult> LinearSeekTest::handleFailure(std::uint64_t lba) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return ended;
    logger().line(1, "Failed to seek to sector at LBA ", lba);
    reportSeekErr(lba, kNoSector);
    return std::nullopt;
}

}  // namespace libDriveTest
