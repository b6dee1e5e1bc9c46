#include "FunnelSeekTest.h"

#include <algorithm>

namespace libDriveTest {

FunnelSeekTest::FunnelSeekTest(Drive& tested) : SeekTest(tested, "FunnelSeekTest") {}

FunnelSeekTest::FunnelSeekTest(libDrive2::SharedDrive tested)
    : SeekTest(std::move(tested), "FunnelSeekTest") {}

FunnelSeekTest::~FunnelSeekTest() = default;

/// Every tested position is a pair of moves.
void FunnelSeekTest::plan(Pass& pass) {
    // The set-up has seen to it that there is something to divide, and something to divide by.
    m_jump = std::max<std::uint64_t>(1, pass.range.divisor());
    pass.moves = pass.range.sectorsToTest * 2;
}

void FunnelSeekTest::logParameters(const Pass& pass) const {
    zel::Logger& log = m_logger;
    log.line(1, "=== ", m_name, " parameters ===");
    log.line(1, " Sectors To Test:       ", pass.range.sectorsToTest);
    log.line(1, " Start LBA (inclusive): ", pass.range.startLba);
    log.line(1, " Jump factor:           ", m_jump);
    log.line(1, " Last LBA (exclusive):  ", pass.range.endLba);
    log.line(1, " Disk has Sectors:      ", pass.range.sectorCount);
    log.line(1, " Sector Size:           ", pass.range.sectorSize);
    log.line(1, " Seeks to perform:      ", pass.moves);
    log.line(1, zel::formatted(" Retries:               %u", drive->getRetryCount()));
}

/// Even moves come from the start, odd ones from the end.
std::uint64_t FunnelSeekTest::position(const Pass& pass, std::uint64_t index) {
    const std::uint64_t offset = index / 2 * m_jump;
    return index % 2 == 0 ? pass.range.startLba + offset : pass.range.endLba - offset - 1;
}

/// A stop names one past the position that would have come next.
std::optional<TestResult> FunnelSeekTest::beforeMove(const Step& step) {
    return stopIfAsked(step.lba + 1);
}

std::optional<TestResult> FunnelSeekTest::afterMove(const Step& step) {
    DiagModule::percentDone(static_cast<int>(step.percent()));
    return std::nullopt;
}

/// The line names the previous position only where there is none.
void FunnelSeekTest::reportFailure(const Step& step) {
    m_logger.line(1, "Failed to seek to sector at LBA ", step.lba, " from sector at LBA ",
                  step.previous == kNoSector ? String::number(step.previous) : String(" [N/A] "));
    reportSeekErr(step.lba, step.previous);
}

}  // namespace libDriveTest
