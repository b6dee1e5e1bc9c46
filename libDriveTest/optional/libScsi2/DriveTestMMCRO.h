#pragma once

#include "DriveTestMMC.h"
#include "libDrive2/ScsiMMCDrive.h"
#include "zel/Export.h"

namespace libDriveTest {

using libDrive2::ScsiMMCDrive;
using SharedMMCDrive = zel::SharedPointer<ScsiMMCDrive>;

/// What the drive is for.
enum MMCRO_TEST : std::uint32_t {
    MMCRO_ANY_MEDIUM = 0,
    MMCRO_DATA_TRACKS = 1,  ///< of a CD with audio and data, data tracks must lie in the range to test
};

/// What the parameter report of a read test shows.
struct test_info_stats {
    std::uint64_t startLba;
    std::uint64_t lastLba;  ///< exclusive
    std::uint32_t optimalTransferBlocks;
    std::uint32_t divisor;
    std::uint32_t sectorsToTest;
    std::uint32_t sectorSize;
    std::uint32_t loopCount;
};

/// Base of the optical tests that only read.
class DRIVETEST_API DriveTestMMCRO : public DriveTestMMC {
public:
    explicit DriveTestMMCRO(ScsiMMCDrive& tested);
    explicit DriveTestMMCRO(SharedMMCDrive tested);
    DriveTestMMCRO(const DriveTestMMCRO& other) = default;
    ~DriveTestMMCRO() override;

    /// A drive of the class that the medium needs, or nothing when no medium fits; `mediaState` tells why.
    /// Asks the user for media, and blocks meanwhile.
    static SharedMMCDrive createDrive(const DiagDevice& device, LIBDRIVE2_MEDIA_STATE& mediaState,
                                      MMCRO_TEST test, std::uint32_t openArgument1,
                                      std::uint32_t openArgument2);

protected:
    static void init(Test& test);
    void printTestStatistics(const test_info_stats& stats) const;
    [[nodiscard]] ScsiMMCDrive& mmcDrive() const;
};

}  // namespace libDriveTest
