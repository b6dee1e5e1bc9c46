#include "RandomSeekTest.h"

#include <random>

#include "SeekMove.h"

namespace libDriveTest {

namespace {

zel::Logger& logger() {
    static zel::Logger& instance = zel::LogFactory::createLogger("libDriveTest.RandomSeekTest");
    return instance;
}

}  // namespace

/// The working values of one run.
struct RandomSeekTest::Pass {
    SeekMove move;
    RangePlan range;
    std::mt19937 generator{std::random_device()()};
};

RandomSeekTest::~RandomSeekTest() = default;

void RandomSeekTest::init(Test& test) {
    DriveTest::init(test);
    SeekMove::addParameters(test);
}

TestResult RandomSeekTest::runTest() {
    const zel::TraceLogger trace(logger(), "RandomSeekTest::Run");
    Pass pass;
    if (const TestResult setUp = setUpRange(logger(), pass.range); setUp != TestResult::PASS)
        return setUp;
    if (!pass.move.prepare(pass.range.sectorSize))
        return TestResult::INTERNALERROR;
    logParameters(pass.range);
    drive->planSectors(pass.range.sectorsToTest);
    return seek(pass);
}

void RandomSeekTest::logParameters(const RangePlan& range) const {
    zel::Logger& log = logger();
    log.line(1, "=== RandomSeekTest parameters ===");
    log.line(1, " Sectors To Test:       ", range.sectorsToTest);
    log.line(1, " Start LBA: (inclusive) ", range.startLba);
    log.line(1, " Last LBA:  (exclusive) ", range.endLba - 1);
    log.line(1, " Disk has Sectors:      ", range.sectorCount);
    log.line(1, " Last TEST Sector:      ", range.endLba);
    log.line(1, " Sector Size:           ", range.sectorSize);
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

TestResult RandomSeekTest::seek(Pass& pass) {
    const RangePlan& range = pass.range;
    std::uniform_int_distribution<std::uint64_t> draw(0, range.endLba - range.startLba - 1);
    std::uint64_t previous = kNoSector;
    for (std::uint64_t i = 0; i < range.sectorsToTest; ++i) {
        if (hitEventLimits(true))
            break;
        const SeekStep step{i, range.sectorsToTest, draw(pass.generator) + range.startLba};
        logSeekStep(logger(), step, range.endLba);
        if (!pass.move.to(*drive, step.lba))
            if (const auto ended = handleFailure(step.lba, previous))
                return *ended;
        DiagModule::percentDone(static_cast<int>(step.percent()));
        if (DiagModule::checkForStop()) {
            reportUserAbort(step.lba);
            return TestResult::USERABORTED;
        }
        previous = step.lba;
    }
    return getEventCountResult();
}

std::optional<TestResult> RandomSeekTest::handleFailure(std::uint64_t lba, std::uint64_t previous) {
    if (const auto ended = endOnNonFail(drive->lastError))
        return ended;
    logger().line(1, "Failed to seek to sector at LBA ", lba, " from sector at LBA ",
                  previous == kNoSector ? String("[N/A]") : String::number(previous));
    reportSeekErr(lba, previous);
    return std::nullopt;
}

}  // namespace libDriveTest
