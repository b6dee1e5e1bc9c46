#include "LinearSeekTest.h"

#include "Parameters.h"

namespace libDriveTest {

namespace {

/// Progress and stop requests are looked after once in so many moves.
constexpr std::uint64_t kMovesBetweenChecks = 10;
/// Where the time is limited, the positions are visited in so many pieces.
constexpr std::uint64_t kRuns = 4096;

}  // namespace

LinearSeekTest::LinearSeekTest(Drive& tested) : SeekTest(tested, "LinearSeekTest") {}

LinearSeekTest::LinearSeekTest(libDrive2::SharedDrive tested)
    : SeekTest(std::move(tested), "LinearSeekTest") {}

LinearSeekTest::~LinearSeekTest() = default;

void LinearSeekTest::logSpacing(const Pass& pass) const {
    m_logger.line(1, " Divisor:               ", pass.range.divisor());
}

void LinearSeekTest::init(Test& test) {
    SeekTest::init(test);
    parameters::maxTime.addTo(test);
}

void LinearSeekTest::begin(const Pass& pass) {
    m_time = TimeLimit();
    m_sequence = ChunkSequence(pass.moves, 1, pass.moves / kRuns, m_time.isSet());
    drive->setRetryCallbackBehavior(libDrive2::LIBDRIVE2_RETRY_AND_REPORT);
}

std::uint64_t LinearSeekTest::position(const Pass& pass, std::uint64_t index) {
    return m_sequence.next().value_or(index) * pass.range.divisor() + pass.range.startLba;
}

std::optional<TestResult> LinearSeekTest::beforeMove(const Step& /*step*/) {
    return m_time.isUp() ? std::optional(getEventCountResult()) : std::nullopt;
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
