#pragma once

#include <random>

#include "SeekTest.h"

namespace libDriveTest {

/// Moves to positions drawn at random from a range and reports those that cannot be reached.
class RandomSeekTest : public SeekTest {
public:
    explicit RandomSeekTest(Drive& tested) : SeekTest(tested, "RandomSeekTest") {}
    explicit RandomSeekTest(libDrive2::SharedDrive tested) : SeekTest(std::move(tested), "RandomSeekTest") {}
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
