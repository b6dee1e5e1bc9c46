#pragma once

#include <optional>

#include "OpticalReadTest.h"
#include "zel/Clock.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Measures how fast a stretch of the medium is read, and fails a rate that lies outside of two bounds given
/// in KB/s.
class DRIVETEST_API DefaultReadPerformanceTest : public OpticalReadTest {
public:
    explicit DefaultReadPerformanceTest(ScsiMMCDrive& tested);
    explicit DefaultReadPerformanceTest(SharedMMCDrive tested);
    ~DefaultReadPerformanceTest() override;

    static void init(Test& test);
    TestResult runTest() override;

private:
    struct Bounds {
        double minimum;
        double maximum;  ///< 0 for none
    };

    /// The bounds in the descriptor are in host order.
    TestResult testPerformance(const ::scsi::mmc_performance_nom_desc_t& bounds, std::uint64_t sectors,
                               std::uint32_t passes);
    void showBounds(const Bounds& bounds);
    /// A result ends the test; `rate` is the last pass's last sample.
    std::optional<TestResult> runPasses(Stretch stretch, std::uint32_t passes, double minimum, double& rate);
    /// Nothing when the user stopped the test; 0 when the pass was too short for a sample.
    std::optional<TestResult> timePass(const Stretch& stretch, double& rate);
    TestResult judge(double rate, const Bounds& bounds);
};

}  // namespace libDriveTest
