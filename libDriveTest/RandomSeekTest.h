#pragma once

#include <random>

#include "SeekTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Moves to positions drawn at random from a range and reports those that cannot be reached.
class DRIVETEST_API RandomSeekTest : public SeekTest {
public:
    explicit RandomSeekTest(Drive& tested);
    explicit RandomSeekTest(libDrive2::SharedDrive tested);
    ~RandomSeekTest() override;

protected:
    void begin(const Pass& pass) override;
    std::uint64_t position(const Pass& pass, std::uint64_t index) override;
    void reportFailure(const Step& step) override;

private:
    std::mt19937 m_generator;
    std::uniform_int_distribution<std::uint64_t> m_draw;
};

}  // namespace libDriveTest
