#pragma once

#include "SeekTest.h"

namespace libDriveTest {

/// Moves to positions of a range in ascending order and reports those that cannot be reached.
class LinearSeekTest : public SeekTest {
public:
    explicit LinearSeekTest(Drive& tested) : SeekTest(tested, "LinearSeekTest") {}
    explicit LinearSeekTest(libDrive2::SharedDrive tested) : SeekTest(std::move(tested), "LinearSeekTest") {}
    ~LinearSeekTest() override;

protected:
    void logSpacing(const Pass& pass) const override;
    void begin(const Pass& pass) override;
    std::uint64_t position(const Pass& pass, std::uint64_t index) override;
    std::optional<TestResult> afterMove(const Step& step) override;
    void reportFailure(const Step& step) override;
};

}  // namespace libDriveTest
