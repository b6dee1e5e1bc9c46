#pragma once

#include "SeekTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Moves to positions of a range in ascending order and reports those that cannot be reached.
class DRIVETEST_API LinearSeekTest : public SeekTest {
public:
    explicit LinearSeekTest(Drive& tested);
    explicit LinearSeekTest(libDrive2::SharedDrive tested);
    ~LinearSeekTest() override;

protected:
    void logSpacing(const Pass& pass) const override;
    void begin(const Pass& pass) override;
    std::uint64_t position(const Pass& pass, std::uint64_t index) override;
    std::optional<TestResult> afterMove(const Step& step) override;
    void reportFailure(const Step& step) override;
};

}  // namespace libDriveTest
