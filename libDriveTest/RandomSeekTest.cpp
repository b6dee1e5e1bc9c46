#include "RandomSeekTest.h"

namespace libDriveTest {

RandomSeekTest::RandomSeekTest(Drive& tested) : SeekTest(tested, "RandomSeekTest") {}

RandomSeekTest::RandomSeekTest(libDrive2::SharedDrive tested)
    : SeekTest(std::move(tested), "RandomSeekTest") {}

RandomSeekTest::~RandomSeekTest() = default;

/// Every run visits other positions.
void RandomSeekTest::begin(const Pass& pass) {
    m_generator.seed(std::random_device()());
    m_draw = decltype(m_draw)(0, pass.range.endLba - pass.range.startLba - 1);
}

std::uint64_t RandomSeekTest::position(const Pass& pass, std::uint64_t /*index*/) {
    return m_draw(m_generator) + pass.range.startLba;
}

void RandomSeekTest::reportFailure(const Step& step) {
    m_logger.line(1, "Failed to seek to sector at LBA ", step.lba, " from sector at LBA ",
                  step.previous == kNoSector ? String("[N/A]") : String::number(step.previous));
    reportSeekErr(step.lba, step.previous);
}

}  // namespace libDriveTest
