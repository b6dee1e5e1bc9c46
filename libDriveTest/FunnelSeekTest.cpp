#include "FunnelSeekTest.h"

#include <algorithm>

#include "SeekMove.h"

namespace libDriveTest {

namespace {

zel::Logger& logger() {
    static zel::Logger& instance = zel::LogFactory::createLogger("libDriveTest.FunnelSeekTest");
    return instance;
}

}  // namespace

/// The working values of one run.
struct FunnelSeekTest::Pass {
    SeekMove move;
    RangePlan range;
    std::uint64_t jump = 1;
    std::uint64_t seeks = 0;

    /// Even moves come from the start, odd ones from the end.
    [[nodiscard]] std::uint64_t position(std::uint64_t index) const {
        const std::uint64_t offset = index / 2 * jump;
        return index % 2 == 0 ? range.startLba + offset : range.endLba - offset - 1;
    }
};

FunnelSeekTest::~FunnelSeekTest() = default;

void FunnelSeekTest::init(Test& test) {
    DriveTest::init(test);
    SeekMove::addParameters(test);
}

TestResult FunnelSeekTest::runTest() {
    const zel::TraceLogger trace(logger(), "FunnelSeekTest::Run");
    Pass pass;
    if (const TestResult setUp = setUpRange(logger(), pass.range); setUp != TestResult::PASS)
        return setUp;
    if (!pass.move.prepare(pass.range.sectorSize))
        return TestResult::INTERNALERROR;
    // The set-up has seen to it that there is something to divide, and something to divide by.
    pass.jump = std::max<std::uint64_t>(1, pass.range.divisor());
    pass.seeks = pass.range.sectorsToTest * 2;
    logParameters(pass);
    drive->planSectors(pass.seeks);
    return seek(pass);
}

void FunnelSeekTest::logParameters(const Pass& pass) const {
    zel::Logger& log = logger();
    log.line(1, "=== FunnelSeekTest parameters ===");
    log.line(1, " Sectors To Test:       ", pass.range.sectorsToTest);
    log.line(1, " Start LBA (inclusive): ", pass.range.startLba);
    log.line(1, " Jump factor:           ", pass.jump);
    log.line(1, " Last LBA (exclusive):  ", pass.range.endLba);
    log.line(1, " Disk has Sectors:      ", pass.range.sectorCount);
    log.line(1, " Sector Size:           ", pass.range.sectorSize);
    log.line(1, " Seeks to perform:      ", pass.seeks);
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

TestResult FunnelSeekTest::seek(Pass& pass) {
    std::uint64_t previous = kNoSector;
    for (std::uint64_t i = 0; i < pass.seeks; ++i) {
        if (hitEventLimits(true))
            break;
        const SeekStep step{i, pass.seeks, pass.position(i)};
        if (DiagModule::checkForStop()) {
            // One past the position that would have come next.
            reportUserAbort(step.lba + 1);
            return TestResult::USERABORTED;
        }
        logSeekStep(logger(), step, pass.range.endLba);
        if (!pass.move.to(*drive, step.lba))
            if (const auto ended = handleFailure(step.lba, previous))
                return *ended;
        DiagModule::percentDone(static_cast<int>(step.percent()));
        previous = step.lba;
    }
    return getEventCountResult();
}

std::optional<TestResult> FunnelSeekTest::handleFailure(std::uint64_t lba, std::uint64_t previous) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return ended;
    // The line names the previous position only where there is none.
    logger().line(1, "Failed to seek to sector at LBA ", lba, " from sector at LBA ",
                  previous == kNoSector ? String::number(previous) : String(" [N/A] "));
    reportSeekErr(lba, previous);
    return std::nullopt;
}

}  // namespace libDriveTest
