#pragma once

#include <optional>

#include "OpticalReadTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Measures how fast a stretch of the medium is read, and fails a rate below a share of what the drive says
/// that it reaches there, or below the medium's 1x when it says nothing.
class DRIVETEST_API ReadPerformanceTest : public OpticalReadTest {
public:
    explicit ReadPerformanceTest(ScsiMMCDrive& tested);
    explicit ReadPerformanceTest(SharedMMCDrive tested);
    ~ReadPerformanceTest() override;

    static void init(Test& test);
    TestResult runTest() override;

private:
    /// Lets the drive read as fast as it can; false after the event that says why it does not.
    bool setHighestSpeed();
    /// What the drive says of its speed over the range, in big-endian; nothing when it does not.
    std::optional<::scsi::mmc_performance_nom_desc_t> askForPerformance(const RangePlan& range);
    /// What any drive should reach, in big-endian; nothing for media of an unknown kind.
    std::optional<::scsi::mmc_performance_nom_desc_t> assumePerformance(const RangePlan& range);
    void logDescriptor(const ::scsi::mmc_performance_nom_desc_t& descriptor) const;

    /// The expected rates in the descriptor are big-endian.
    TestResult testPerformance(const ::scsi::mmc_performance_nom_desc_t& expected, std::uint64_t sectors,
                               std::uint32_t passes, double minimumPercent);
    /// A result ends the test; `best` is the highest rate of all passes.
    std::optional<TestResult> runPasses(const Stretch& stretch, std::uint32_t passes, double minimum,
                                        double& best);
    /// A result ends the test.
    std::optional<TestResult> timePass(const Stretch& stretch, double& rate);
};

}  // namespace libDriveTest
