#include "LinearSeekTest.h"

namespace libDriveTest {

namespace {

/// Progress and stop requests are looked after once in so many moves.
constexpr std::uint64_t kMovesBetweenChecks = 10;

}  // namespace

LinearSeekTest::LinearSeekTest(Drive& tested) : SeekTest(tested, "LinearSeekTest") {}

LinearSeekTest::LinearSeekTest(libDrive2::SharedDrive tested)
    : SeekTest(std::move(tested), "LinearSeekTest") {}

LinearSeekTest::~LinearSeekTest() = default;

void LinearSeekTest::logSpacing(const Pass& pass) const {
    m_logger.line(1, " Divisor:               ", pass.range.divisor());
}

void LinearSeekTest::begin(const Pass& /*pass*/) {
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
}

std::uint64_t LinearSeekTest::position(const Pass& pass, std::uint64_t index) {
    return index * pass.range.divisor() + pass.range.startLba;
}

std::optional<TestResult> LinearSeekTest::afterMove(const Step& step) {
    return step.index % kMovesBetweenChecks == 0 ? SeekTest::afterMove(step) : std::nullopt;
}

/// Each move stands for itself here: where it came from is not told.
void LinearSeekTest::reportFailure(const Step& step) {
    m_logger.line(1, "Failed to seek to sector at LBA ", step.lba);
    reportSeekErr(step.lba, kNoSector);
}

}  // namespace libDriveTest
