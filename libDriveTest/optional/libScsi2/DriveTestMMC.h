#pragma once

#include <cstdint>
#include <optional>

#include "../../DriveTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Base of every test of optical drives: the parameters that they share, and the media profiles that they
/// accept.
class DRIVETEST_API DriveTestMMC : public DriveTest {
public:
    explicit DriveTestMMC(Drive& tested);
    explicit DriveTestMMC(libDrive2::SharedDrive tested);
    DriveTestMMC(const DriveTestMMC& other) = default;
    ~DriveTestMMC() override;

    /// The place to keep a device to one test; optical tests need none.
    static bool lock(const DiagDevice& device);

protected:
    friend class MediumSearch;

    /// `callBase` registers what every test has, first.
    static void init(Test& test, bool callBase);
    /// Of a step that failed: when the drive is busy or gone, reports that and gives the test's result,
    /// whatever the step would make of it.
    std::optional<TestResult> endOnLoss();
    /// The last operation found the drive busy or gone: nothing more is to be sent to it.
    [[nodiscard]] bool isLost();
    /// Fills s_profiles from the parameter, once per loaded module.
    static void parseProfileList();

    /// Numbers of MMC profiles, in the order in which the parameter names them.
    static Array<std::uint32_t> s_profiles;
    static bool s_profilesParsed;
};

}  // namespace libDriveTest
