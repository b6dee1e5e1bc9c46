#pragma once

#include "SeekTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Moves between the two ends of a range in strokes that get shorter and shorter, and reports positions that
/// cannot be reached.
class DRIVETEST_API FunnelSeekTest : public SeekTest {
public:
    explicit FunnelSeekTest(Drive& tested);
    explicit FunnelSeekTest(libDrive2::SharedDrive tested);
    ~FunnelSeekTest() override;

protected:
    void plan(Pass& pass) override;
    void logParameters(const Pass& pass) const override;
    std::uint64_t position(const Pass& pass, std::uint64_t index) override;
    std::optional<TestResult> beforeMove(const Step& step) override;
    std::optional<TestResult> afterMove(const Step& step) override;
    void reportFailure(const Step& step) override;

private:
    std::uint64_t m_jump = 1;
};

}  // namespace libDriveTest
